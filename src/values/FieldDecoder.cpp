// Decodes rabbitmq-c's structures. FieldCodec.hpp describes the functions.
#include "values/FieldCodec.hpp"

#include "values/Bytes.hpp"

#include <algorithm>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace Amqp
{

// Decodes each value directly into its final place. Table cannot be moved: a table decoded elsewhere would be copied
// once for each level of nesting.
class FieldDecoder
{
public:
    static void Decode(const amqp_field_value_t& value, FieldValue& into);
    static void Decode(const amqp_array_t& array, Array& into);
    static void Decode(const amqp_table_t& table, Table& into);
};

void FieldDecoder::Decode(const amqp_field_value_t& value, FieldValue& into)
{
    switch (value.kind)
    {
    case AMQP_FIELD_KIND_BOOLEAN:
        into = value.value.boolean != 0;
        break;
    case AMQP_FIELD_KIND_I8:
        into = value.value.i8;
        break;
    case AMQP_FIELD_KIND_U8:
        into = value.value.u8;
        break;
    case AMQP_FIELD_KIND_I16:
        into = value.value.i16;
        break;
    case AMQP_FIELD_KIND_U16:
        into = value.value.u16;
        break;
    case AMQP_FIELD_KIND_I32:
        into = value.value.i32;
        break;
    case AMQP_FIELD_KIND_U32:
        into = value.value.u32;
        break;
    case AMQP_FIELD_KIND_I64:
        into = value.value.i64;
        break;
    case AMQP_FIELD_KIND_U64:
        into = value.value.u64;
        break;
    case AMQP_FIELD_KIND_F32:
        into = value.value.f32;
        break;
    case AMQP_FIELD_KIND_F64:
        into = value.value.f64;
        break;
    case AMQP_FIELD_KIND_UTF8:
    case AMQP_FIELD_KIND_BYTES:
        into.emplace<std::string>(ToView(value.value.bytes));
        break;
    case AMQP_FIELD_KIND_ARRAY:
        Decode(value.value.array, into.emplace<Array>());
        break;
    case AMQP_FIELD_KIND_TABLE:
        Decode(value.value.table, into.emplace<Table>());
        break;
    default: // decimal, time stamp, void, unknown
        into = false;
        break;
    }
}

void FieldDecoder::Decode(const amqp_array_t& array, Array& into)
{
    std::vector<FieldValue>& elements = into.entries;
    elements.reserve(static_cast<std::size_t>(std::max(array.num_entries, 0)));
    for (int i = 0; i < array.num_entries; ++i)
    {
        Decode(array.entries[i], elements.emplace_back());
        if (elements.back().index() != elements.front().index())
        {
            elements.pop_back();
        }
    }
}

void FieldDecoder::Decode(const amqp_table_t& table, Table& into)
{
    for (int i = 0; i < table.num_entries; ++i)
    {
        const amqp_table_entry_t& entry = table.entries[i];
        if (entry.key.len == 0)
        {
            continue;
        }
        // Most keys arrive in ascending order; the hint then saves the search.
        const std::size_t before = into.entries.size();
        const auto place = into.entries.emplace_hint(into.entries.end(), std::piecewise_construct,
                                                     std::forward_as_tuple(ToView(entry.key)), std::tuple());
        if (into.entries.size() != before)
        {
            Decode(entry.value, place->second);
        }
    }
}

FieldValue DecodeFieldValue(const amqp_field_value_t& value)
{
    FieldValue decoded;
    FieldDecoder::Decode(value, decoded);
    return decoded;
}

Array DecodeArray(const amqp_array_t& array)
{
    Array decoded;
    FieldDecoder::Decode(array, decoded);
    return decoded;
}

Table DecodeTable(const amqp_table_t& table)
{
    Table decoded;
    DecodeTable(table, decoded);
    return decoded;
}

void DecodeTable(const amqp_table_t& table, Table& into)
{
    FieldDecoder::Decode(table, into);
}

} // namespace Amqp
