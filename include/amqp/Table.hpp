/// @file
/// An ordered map from text keys to field values: client properties, message headers. A plain value: copying
/// copies every nested string, array and table. It may be read from several threads as long as none changes it.
#pragma once

#include <amqp/Array.hpp>
#include <amqp/Export.hpp>
#include <amqp/FieldValue.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <type_traits>

namespace Amqp
{

class FieldDecoder;

/// An AMQP field table.
///
/// Keys are unique and ordered byte by byte ("B" before "a", "ab" after "a"); entries are iterated and sent in
/// that order. A key of more than 255 bytes cannot be sent: the publish or the login that carries it fails.
/// A table has no move operations: a moved table is copied, and the source is left as it was.
class AMQP_EXPORT Table
{
public:
    /// An empty table.
    Table();

    /// Copies every entry, nested arrays and tables included.
    Table(const Table& other);

    /// Frees every entry.
    ~Table();

    /// Copies every entry, nested arrays and tables included.
    Table& operator=(const Table& other);

    /// True when there are no entries.
    [[nodiscard]] bool Empty() const;

    /// The number of entries.
    [[nodiscard]] std::uint64_t Size() const;

    /// All entries in ascending key order; valid as long as the table, and seen to change with it.
    [[nodiscard]] const std::map<std::string, FieldValue>& Entries() const;

    /// Adds an entry, moving the value in. The key is copied.
    ///
    /// Never overwrites: true when the entry was added, false when the key is present already (the old value
    /// stays) or empty. These rules hold for all overloads; what one does differently stands with it.
    bool Insert(std::string_view key, FieldValue&& value);

    /// Adds a copy of a value; see Insert(std::string_view, FieldValue&&). For a const one write
    /// `Insert(key, FieldValue(value))`.
    bool Insert(std::string_view key, FieldValue& value);

    /// Adds a copy of a text; see Insert(std::string_view, FieldValue&&).
    bool Insert(std::string_view key, std::string_view value);

    /// Adds a text, moving it in; see Insert(std::string_view, FieldValue&&).
    bool Insert(std::string_view key, std::string value);

    /// Adds a copy of a table; see Insert(std::string_view, FieldValue&&). Refuses (false) to insert a table
    /// into itself.
    bool Insert(std::string_view key, const Table& value);

    /// Adds a copy of a table, which is left unchanged; see Insert(std::string_view, FieldValue&&). Unlike the
    /// other overloads this one accepts the empty key.
    bool Insert(std::string_view key, Table&& value);

    /// Adds a text literal, or the text up to the first zero in an array of characters.
    template <std::size_t N>
    bool Insert(std::string_view key, const char (&value)[N])
    {
        return Insert(key,
                      std::string_view(value, static_cast<std::size_t>(std::find(value, value + N, '\0') - value)));
    }

    /// Adds the text at a pointer, up to its zero; the pointer must not be null.
    template <typename Text,
              std::enable_if_t<std::is_same_v<Text, const char*> || std::is_same_v<Text, char*>, int> = 0>
    bool Insert(std::string_view key, Text value)
    {
        return Insert(key, std::string_view(value));
    }

    /// Adds a number or a boolean as the alternative of its own type: `Insert("retries", 3)` adds a signed
    /// 32-bit integer, `Insert("ratio", 0.5)` a double. A `char` counts as a signed 32-bit integer.
    template <typename Number, std::enable_if_t<std::is_arithmetic_v<Number>, int> = 0>
    bool Insert(std::string_view key, Number value)
    {
        return Insert(key, FieldValue(value));
    }

    /// Removes an entry: true when there was one with that key.
    bool Remove(std::string_view key);

private:
    friend class FieldDecoder;

    std::map<std::string, FieldValue> entries;
};

} // namespace Amqp
