// Declared in FieldCodec.hpp. Sizes are those of RabbitMQ's dialect of AMQP field values, which rabbitmq-c writes.
#include "values/FieldCodec.hpp"

#include <cstdint>

namespace Amqp
{

namespace
{

constexpr std::size_t longestKey = 255;
constexpr std::size_t lengthField = 4;

bool Add(std::size_t& size, const amqp_field_value_t& value);

// Each of these adds to the size, and gives whether AMQP can express what is there.
bool Add(std::size_t& size, const amqp_array_t& array)
{
    size += lengthField;
    for (int i = 0; i < array.num_entries; ++i)
    {
        if (!Add(size, array.entries[i]))
        {
            return false;
        }
    }
    return true;
}

bool Add(std::size_t& size, const amqp_table_t& table)
{
    size += lengthField;
    for (int i = 0; i < table.num_entries; ++i)
    {
        const amqp_table_entry_t& entry = table.entries[i];
        size += 1 + entry.key.len;
        if (entry.key.len > longestKey || !Add(size, entry.value))
        {
            return false;
        }
    }
    return true;
}

bool Add(std::size_t& size, const amqp_field_value_t& value)
{
    size += 1; // the kind
    switch (value.kind)
    {
    case AMQP_FIELD_KIND_BOOLEAN:
    case AMQP_FIELD_KIND_I8:
    case AMQP_FIELD_KIND_U8:
        size += sizeof(std::uint8_t);
        return true;
    case AMQP_FIELD_KIND_I16:
    case AMQP_FIELD_KIND_U16:
        size += sizeof(std::uint16_t);
        return true;
    case AMQP_FIELD_KIND_I32:
    case AMQP_FIELD_KIND_U32:
    case AMQP_FIELD_KIND_F32:
        size += sizeof(std::uint32_t);
        return true;
    case AMQP_FIELD_KIND_I64:
    case AMQP_FIELD_KIND_U64:
    case AMQP_FIELD_KIND_F64:
        size += sizeof(std::uint64_t);
        return true;
    case AMQP_FIELD_KIND_BYTES:
        size += lengthField + value.value.bytes.len;
        return true;
    case AMQP_FIELD_KIND_ARRAY:
        return Add(size, value.value.array);
    case AMQP_FIELD_KIND_TABLE:
        return Add(size, value.value.table);
    default: // void
        return true;
    }
}

} // namespace

std::optional<std::size_t> WireSize(const amqp_table_t& table)
{
    std::size_t size = 0;
    return Add(size, table) ? std::optional(size) : std::nullopt;
}

} // namespace Amqp
