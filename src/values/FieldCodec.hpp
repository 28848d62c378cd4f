// Field values, arrays and tables to and from rabbitmq-c's structures. Encoding borrows every byte of text from its
// source, which must outlive the encoded form; only the blocks of entries are allocated. Decoding copies all.
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

/// Encodes one value. Its blocks of entries, if any, are the caller's: see ReleaseFieldValue.
amqp_field_value_t EncodeFieldValue(const FieldValue& value);

/// Encodes a table: of kind AMQP_FIELD_KIND_TABLE, or AMQP_FIELD_KIND_VOID with an empty table when there is
/// nothing in it. Callers use `value.table`; its blocks are theirs: see ReleaseFieldValue.
amqp_field_value_t EncodeTable(const Table& table);

/// Frees the blocks of entries of an encoded value, those of nested arrays and tables first.
void ReleaseFieldValue(amqp_field_value_t& value);

/// A table encoded for one call into rabbitmq-c: owns the blocks of entries, borrows the text.
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
    bool nested = false;
    std::array<amqp_table_entry_t, 8> few; // for a table of no more entries, as most are
};

/// How many bytes an encoded table takes on the wire, its length field included; nothing when a key, its own or a
/// nested table's, is longer than the 255 bytes that AMQP can express. rabbitmq-c does not look: it would write a table
/// that no broker can read.
std::optional<std::size_t> WireSize(const amqp_table_t& table);

/// No less than that, at half the cost; nothing when only WireSize can tell.
std::optional<std::size_t> WireSizeAtMost(const amqp_table_t& table);

/// Kinds that have no alternative (decimal, time stamp, void, unknown ones) give the boolean false.
FieldValue DecodeFieldValue(const amqp_field_value_t& value);

/// Keeps the elements that share the alternative of the first one, drops the others.
Array DecodeArray(const amqp_array_t& array);

/// Drops entries with an empty key; of entries with one key the first stays.
Table DecodeTable(const amqp_table_t& table);

/// The same into an empty table, which spares a copy.
void DecodeTable(const amqp_table_t& table, Table& into);

} // namespace Amqp
