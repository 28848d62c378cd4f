// Decoding: see FieldCodec.hpp.
#include "values/FieldCodec.hpp"

#include "values/Bytes.hpp"

#include <string>
#include <utility>
#include <vector>

namespace Amqp
{

FieldValue DecodeFieldValue(const amqp_field_value_t& value)
{
    switch (value.kind)
    {
    case AMQP_FIELD_KIND_BOOLEAN:
        return value.value.boolean != 0;
    case AMQP_FIELD_KIND_I8:
        return value.value.i8;
    case AMQP_FIELD_KIND_U8:
        return value.value.u8;
    case AMQP_FIELD_KIND_I16:
        return value.value.i16;
    case AMQP_FIELD_KIND_U16:
        return value.value.u16;
    case AMQP_FIELD_KIND_I32:
        return value.value.i32;
    case AMQP_FIELD_KIND_U32:
        return value.value.u32;
    case AMQP_FIELD_KIND_I64:
        return value.value.i64;
    case AMQP_FIELD_KIND_U64:
        return value.value.u64;
    case AMQP_FIELD_KIND_F32:
        return value.value.f32;
    case AMQP_FIELD_KIND_F64:
        return value.value.f64;
    case AMQP_FIELD_KIND_UTF8:
    case AMQP_FIELD_KIND_BYTES:
        return std::string(ToView(value.value.bytes));
    case AMQP_FIELD_KIND_ARRAY:
        return DecodeArray(value.value.array);
    case AMQP_FIELD_KIND_TABLE:
        return DecodeTable(value.value.table);
    default: // decimal, time stamp, void, unknown
        return false;
    }
}

Array DecodeArray(const amqp_array_t& array)
{
    std::vector<FieldValue> elements;
    for (int i = 0; i < array.num_entries; ++i)
    {
        FieldValue element = DecodeFieldValue(array.entries[i]);
        if (elements.empty() || element.index() == elements.front().index())
        {
            elements.push_back(std::move(element));
        }
    }
    return Array(std::move(elements));
}

Table DecodeTable(const amqp_table_t& table)
{
    Table decoded;
    for (int i = 0; i < table.num_entries; ++i)
    {
        const amqp_table_entry_t& entry = table.entries[i];
        // The first entry of a key wins, and an empty key is refused: that is how Insert works.
        decoded.Insert(ToView(entry.key), DecodeFieldValue(entry.value));
    }
    return decoded;
}

} // namespace Amqp
