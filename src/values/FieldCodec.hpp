// Converts field values, arrays and tables to rabbitmq-c's structures and back. Encoding borrows every byte of a string
// from the source, which must outlive the encoded form; it allocates only the blocks of entries. Decoding copies
// everything. The functions have no state: any thread may call them.
#pragma once

#include "values/RabbitMq.hpp"

#include <amqp/Array.hpp>
#include <amqp/FieldValue.hpp>
#include <amqp/Table.hpp>

#include <array>
#include <cstddef>
#include <optional>

namespace Amqp
{

/// Encodes one value. The caller owns the blocks of entries, if any, and frees them with ReleaseFieldValue.
amqp_field_value_t EncodeFieldValue(const FieldValue& value);

/// Encodes a table; the result is in `value.table`. The kind is AMQP_FIELD_KIND_TABLE, or AMQP_FIELD_KIND_VOID if the
/// table is empty. The caller owns the blocks of entries, and frees them with ReleaseFieldValue.
amqp_field_value_t EncodeTable(const Table& table);

/// Frees the blocks of entries of an encoded value. Frees the blocks of nested arrays and tables first.
void ReleaseFieldValue(amqp_field_value_t& value);

/// A table encoded for one call into rabbitmq-c. Owns the blocks of entries and borrows the strings.
class EncodedTable
{
public:
    explicit EncodedTable(const Table& table);
    ~EncodedTable();
    EncodedTable(const EncodedTable&) = delete;
    EncodedTable& operator=(const EncodedTable&) = delete;

    const amqp_table_t& Get() const { return encoded; }

private:
    amqp_table_t encoded{0, nullptr};
    bool nested = false;                   // whether entries may have blocks of their own
    std::array<amqp_table_entry_t, 8> few; // the entries of a small table, which needs no allocation
};

/// Returns how many bytes an encoded table takes on the wire, its length field included. Returns nothing if a key of
/// the table, or of a nested table, exceeds the 255 bytes that AMQP allows. rabbitmq-c does not check this: it would
/// write a table that no broker can read.
std::optional<std::size_t> WireSize(const amqp_table_t& table);

/// Returns an upper bound of WireSize at half its cost. Returns nothing if a value is an array or a table, or a key is
/// too long: call WireSize then.
std::optional<std::size_t> WireSizeAtMost(const amqp_table_t& table);

/// Decodes one value. A kind without an alternative in FieldValue (decimal, time stamp, void, unknown) becomes the
/// boolean false.
FieldValue DecodeFieldValue(const amqp_field_value_t& value);

/// Decodes an array. Keeps the elements with the same alternative as the first element, and drops the others.
Array DecodeArray(const amqp_array_t& array);

/// Decodes a table. Drops entries with an empty key. If several entries have the same key, keeps the first.
Table DecodeTable(const amqp_table_t& table);

/// Decodes a table into `into`, which must be empty. This saves a copy; the entries are kept or dropped as above.
void DecodeTable(const amqp_table_t& table, Table& into);

} // namespace Amqp
