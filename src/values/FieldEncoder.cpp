// Encoding: see FieldCodec.hpp for who owns what.
#include "values/FieldCodec.hpp"

#include "values/Bytes.hpp"

#include <cstdlib>
#include <new>
#include <utility>

namespace Amqp
{

namespace
{

// Zero-filled, so that a block that is only partly encoded when an exception comes can be released as it is.
template <typename Entry>
Entry* AllocateEntries(std::size_t count)
{
    auto* const entries = static_cast<Entry*>(std::calloc(count, sizeof(Entry)));
    if (entries == nullptr)
    {
        throw std::bad_alloc();
    }
    return entries;
}

// Owns a value while it is being encoded.
class Encoding
{
public:
    Encoding() = default;
    ~Encoding() { ReleaseFieldValue(value); }
    Encoding(const Encoding&) = delete;
    Encoding& operator=(const Encoding&) = delete;

    amqp_field_value_t Finish() { return std::exchange(value, {}); }

    amqp_field_value_t value{};
};

amqp_field_value_t EncodeArray(const Array& array)
{
    Encoding encoding;
    encoding.value.kind = AMQP_FIELD_KIND_ARRAY;
    encoding.value.value.array = {0, nullptr};
    if (!array.Empty())
    {
        auto* entry = AllocateEntries<amqp_field_value_t>(array.Entries().size());
        encoding.value.value.array = {static_cast<int>(array.Size()), entry};
        for (const FieldValue& element : array.Entries())
        {
            *entry++ = EncodeFieldValue(element);
        }
    }
    return encoding.Finish();
}

} // namespace

amqp_field_value_t EncodeTable(const Table& table)
{
    Encoding encoding;
    encoding.value.kind = AMQP_FIELD_KIND_VOID;
    encoding.value.value.table = {0, nullptr};
    if (!table.Empty())
    {
        auto* entry = AllocateEntries<amqp_table_entry_t>(table.Entries().size());
        encoding.value.kind = AMQP_FIELD_KIND_TABLE;
        encoding.value.value.table = {static_cast<int>(table.Size()), entry};
        for (const auto& [key, value] : table.Entries())
        {
            entry->key = ToBytes(key);
            entry->value = EncodeFieldValue(value);
            ++entry;
        }
    }
    return encoding.Finish();
}

amqp_field_value_t EncodeFieldValue(const FieldValue& value)
{
    amqp_field_value_t encoded{};
    switch (value.index())
    {
    case 0:
        encoded.kind = AMQP_FIELD_KIND_BOOLEAN;
        encoded.value.boolean = std::get<0>(value) ? 1 : 0;
        break;
    case 1:
        encoded.kind = AMQP_FIELD_KIND_I8;
        encoded.value.i8 = std::get<1>(value);
        break;
    case 2:
        encoded.kind = AMQP_FIELD_KIND_I16;
        encoded.value.i16 = std::get<2>(value);
        break;
    case 3:
        encoded.kind = AMQP_FIELD_KIND_I32;
        encoded.value.i32 = std::get<3>(value);
        break;
    case 4:
        encoded.kind = AMQP_FIELD_KIND_I64;
        encoded.value.i64 = std::get<4>(value);
        break;
    case 5:
        encoded.kind = AMQP_FIELD_KIND_U8;
        encoded.value.u8 = std::get<5>(value);
        break;
    case 6:
        encoded.kind = AMQP_FIELD_KIND_U16;
        encoded.value.u16 = std::get<6>(value);
        break;
    case 7:
        encoded.kind = AMQP_FIELD_KIND_U32;
        encoded.value.u32 = std::get<7>(value);
        break;
    case 8:
        encoded.kind = AMQP_FIELD_KIND_U64;
        encoded.value.u64 = std::get<8>(value);
        break;
    case 9:
        encoded.kind = AMQP_FIELD_KIND_F32;
        encoded.value.f32 = std::get<9>(value);
        break;
    case 10:
        encoded.kind = AMQP_FIELD_KIND_F64;
        encoded.value.f64 = std::get<10>(value);
        break;
    case 11:
        encoded.kind = AMQP_FIELD_KIND_BYTES;
        encoded.value.bytes = ToBytes(std::get<11>(value));
        break;
    case 12:
        return EncodeArray(std::get<12>(value));
    case 13:
        encoded = EncodeTable(std::get<13>(value));
        encoded.kind = AMQP_FIELD_KIND_TABLE;
        break;
    default: // valueless after a failed assignment
        encoded.kind = AMQP_FIELD_KIND_VOID;
    }
    return encoded;
}

void ReleaseFieldValue(amqp_field_value_t& value)
{
    if (value.kind == AMQP_FIELD_KIND_ARRAY)
    {
        const amqp_array_t& array = value.value.array;
        for (int i = 0; i < array.num_entries; ++i)
        {
            ReleaseFieldValue(array.entries[i]);
        }
        std::free(array.entries);
    }
    else if (value.kind == AMQP_FIELD_KIND_TABLE)
    {
        const amqp_table_t& table = value.value.table;
        for (int i = 0; i < table.num_entries; ++i)
        {
            ReleaseFieldValue(table.entries[i].value);
        }
        std::free(table.entries);
    }
    value = {};
}

} // namespace Amqp
