// Computes the sizes of encoded tables; FieldCodec.hpp declares the functions. The sizes are those of RabbitMQ's
// dialect of AMQP field values, which rabbitmq-c writes.
#include "values/FieldCodec.hpp"

#include <cstdint>

namespace Amqp
{

namespace
{

constexpr std::size_t longestKey = 255;
constexpr std::size_t lengthField = 4;
constexpr std::size_t kindField = 1;
constexpr std::size_t longestNumber = 8; // also enough for the length field of a string

// Returns the size of every value of this kind. Returns 0 if the size depends on the value, and for void.
std::size_t FixedSize(std::uint8_t kind)
{
    switch (kind)
    {
    case AMQP_FIELD_KIND_BOOLEAN:
    case AMQP_FIELD_KIND_I8:
    case AMQP_FIELD_KIND_U8:
        return sizeof(std::uint8_t);
    case AMQP_FIELD_KIND_I16:
    case AMQP_FIELD_KIND_U16:
        return sizeof(std::uint16_t);
    case AMQP_FIELD_KIND_I32:
    case AMQP_FIELD_KIND_U32:
    case AMQP_FIELD_KIND_F32:
        return sizeof(std::uint32_t);
    case AMQP_FIELD_KIND_I64:
    case AMQP_FIELD_KIND_U64:
    case AMQP_FIELD_KIND_F64:
        return sizeof(std::uint64_t);
    default:
        return 0;
    }
}

std::optional<std::size_t> WireSize(const amqp_array_t& array);

// Returns the size of a value without its kind field.
std::optional<std::size_t> WireSize(const amqp_field_value_t& value)
{
    switch (value.kind)
    {
    case AMQP_FIELD_KIND_BYTES:
        return lengthField + value.value.bytes.len;
    case AMQP_FIELD_KIND_ARRAY:
        return WireSize(value.value.array);
    case AMQP_FIELD_KIND_TABLE:
        return Amqp::WireSize(value.value.table);
    default:
        return FixedSize(value.kind);
    }
}

std::optional<std::size_t> WireSize(const amqp_array_t& array)
{
    std::size_t size = lengthField;
    for (int i = 0; i < array.num_entries; ++i)
    {
        const auto element = WireSize(array.entries[i]);
        if (!element)
        {
            return {};
        }
        size += kindField + *element;
    }
    return size;
}

} // namespace

std::optional<std::size_t> WireSize(const amqp_table_t& table)
{
    std::size_t size = lengthField;
    for (int i = 0; i < table.num_entries; ++i)
    {
        const amqp_table_entry_t& entry = table.entries[i];
        const auto value = WireSize(entry.value);
        if (!value || entry.key.len > longestKey)
        {
            return {};
        }
        size += 1 + entry.key.len + kindField + *value;
    }
    return size;
}

std::optional<std::size_t> WireSizeAtMost(const amqp_table_t& table)
{
    std::size_t size = lengthField;
    for (int i = 0; i < table.num_entries; ++i)
    {
        const amqp_table_entry_t& entry = table.entries[i];
        const std::uint8_t kind = entry.value.kind;
        if (kind == AMQP_FIELD_KIND_ARRAY || kind == AMQP_FIELD_KIND_TABLE || entry.key.len > longestKey)
        {
            return {};
        }
        const std::size_t text = kind == AMQP_FIELD_KIND_BYTES ? entry.value.value.bytes.len : 0;
        size += 1 + entry.key.len + kindField + longestNumber + text;
    }
    return size;
}

} // namespace Amqp
