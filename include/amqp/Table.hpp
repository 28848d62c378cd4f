/// @file
/// An ordered map from string keys to field values, for client properties and message headers. A table is a plain
/// value: a copy has copies of every nested string, array and table. Several threads may read a table as long as none
/// changes it.
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
/// Keys are unique and ordered byte by byte ("B" before "a", "ab" after "a"). The library iterates and sends entries in
/// that order. A key of more than 255 bytes cannot be sent: the publish or the login that carries it fails. A table has
/// no move operations: moving a table copies it, and does not change the source.
class AMQP_EXPORT Table
{
public:
    /// Makes an empty table.
    Table();

    /// Copies every entry, nested arrays and tables included.
    Table(const Table& other);

    /// Frees every entry.
    ~Table();

    /// Copies every entry, nested arrays and tables included.
    Table& operator=(const Table& other);

    /// Returns whether there are no entries.
    [[nodiscard]] bool Empty() const;

    /// Returns the number of entries.
    [[nodiscard]] std::uint64_t Size() const;

    /// Returns all entries in ascending key order. The reference is valid as long as the table, and shows later
    /// changes.
    [[nodiscard]] const std::map<std::string, FieldValue>& Entries() const;

    /// Adds an entry, moving the value in. The key is copied.
    ///
    /// Never overwrites: returns true if the entry was added. Returns false if the key is empty, or is present already;
    /// the old value then stays. These rules hold for all overloads, unless an overload says otherwise.
    bool Insert(std::string_view key, FieldValue&& value);

    /// Adds a copy of a value; see Insert(std::string_view, FieldValue&&). For a const value, write
    /// `Insert(key, FieldValue(value))`.
    bool Insert(std::string_view key, FieldValue& value);

    /// Adds a copy of a string; see Insert(std::string_view, FieldValue&&).
    bool Insert(std::string_view key, std::string_view value);

    /// Adds a string, moving it in; see Insert(std::string_view, FieldValue&&).
    bool Insert(std::string_view key, std::string value);

    /// Adds a copy of a table; see Insert(std::string_view, FieldValue&&). Returns false, too, for a table that would
    /// be inserted into itself.
    bool Insert(std::string_view key, const Table& value);

    /// Adds a copy of a table, and does not change the argument; see Insert(std::string_view, FieldValue&&). Unlike the
    /// other overloads this overload accepts the empty key.
    bool Insert(std::string_view key, Table&& value);

    /// Adds a string literal, or the string up to the first zero in an array of characters.
    template <std::size_t N>
    bool Insert(std::string_view key, const char (&value)[N])
    {
        return Insert(key,
                      std::string_view(value, static_cast<std::size_t>(std::find(value, value + N, '\0') - value)));
    }

    /// Adds the string at a pointer, up to its zero; the pointer must not be null.
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

    /// Removes the entry with this key. Returns whether there was an entry.
    bool Remove(std::string_view key);

private:
    friend class FieldDecoder;

    std::map<std::string, FieldValue> entries;
};

} // namespace Amqp
