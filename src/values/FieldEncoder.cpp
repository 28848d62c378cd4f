// Encodes into rabbitmq-c's structures. FieldCodec.hpp says who owns what.
#include "values/FieldCodec.hpp"

#include "values/Bytes.hpp"

#include <cstdlib>
#include <new>
#include <utility>

namespace Amqp
{

namespace
{

template <typename Entry>
Entry* AllocateEntries(std::size_t count)
{
    auto* const entries = static_cast<Entry*>(std::malloc(count * sizeof(Entry)));
    if (entries == nullptr)
    {
        throw std::bad_alloc();
    }
    return entries;
}

bool HasBlocks(const amqp_field_value_t& value)
{
    return value.kind == AMQP_FIELD_KIND_ARRAY || value.kind == AMQP_FIELD_KIND_TABLE;
}

void ReleaseBlocks(const amqp_field_value_t& value);

void ReleaseEntries(const amqp_table_t& encoded)
{
    for (int i = 0; i < encoded.num_entries; ++i)
    {
        const amqp_field_value_t& value = encoded.entries[i].value;
        if (HasBlocks(value)) // most values have none, and cost no call
        {
            ReleaseBlocks(value);
        }
    }
}

void ReleaseBlocks(const amqp_field_value_t& value)
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
    else
    {
        ReleaseEntries(value.value.table);
        std::free(value.value.table.entries);
    }
}

// Owns a value while it is being encoded. The encoder counts each entry when it is complete. If an exception is thrown,
// the destructor releases the entries that were counted.
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

amqp_field_value_t EncodeArray(const Array& array);

// Encodes a value that has no blocks. Returns false, and does nothing, for an array or a table. Writes directly into
// the final place: copying the encoded value would take longer than writing it.
inline bool EncodeFlat(const FieldValue& value, amqp_field_value_t& encoded)
{
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
    case 13:
        return false;
    default: // the variant is valueless, because an assignment threw
        encoded.kind = AMQP_FIELD_KIND_VOID;
    }
    return true;
}

void EncodeNested(const FieldValue& value, amqp_field_value_t& encoded)
{
    if (const auto* const array = std::get_if<Array>(&value))
    {
        encoded = EncodeArray(*array);
        return;
    }
    encoded = EncodeTable(std::get<Table>(value));
    encoded.kind = AMQP_FIELD_KIND_TABLE;
}

void EncodeInto(const FieldValue& value, amqp_field_value_t& encoded)
{
    if (!EncodeFlat(value, encoded))
    {
        EncodeNested(value, encoded);
    }
}

amqp_field_value_t EncodeArray(const Array& array)
{
    Encoding encoding;
    encoding.value.kind = AMQP_FIELD_KIND_ARRAY;
    encoding.value.value.array = {0, nullptr};
    if (!array.Empty())
    {
        amqp_array_t& encoded = encoding.value.value.array;
        encoded.entries = AllocateEntries<amqp_field_value_t>(array.Entries().size());
        for (const FieldValue& element : array.Entries())
        {
            EncodeInto(element, encoded.entries[encoded.num_entries]);
            ++encoded.num_entries;
        }
    }
    return encoding.Finish();
}

// Encodes the entries of a table. Returns whether an entry is an array or a table, and so has blocks of its own.
bool EncodeEntries(const Table& table, amqp_table_t& encoded)
{
    bool nested = false;
    amqp_table_entry_t* entry = encoded.entries;
    for (const auto& [key, value] : table.Entries())
    {
        entry->key = ToBytes(key);
        if (!EncodeFlat(value, entry->value))
        {
            nested = true;
            EncodeNested(value, entry->value);
        }
        ++entry;
        ++encoded.num_entries; // after an exception, the caller releases the entries counted so far
    }
    return nested;
}

} // namespace

amqp_field_value_t EncodeTable(const Table& table)
{
    Encoding encoding;
    encoding.value.kind = AMQP_FIELD_KIND_VOID;
    encoding.value.value.table = {0, nullptr};
    if (!table.Empty())
    {
        encoding.value.value.table.entries = AllocateEntries<amqp_table_entry_t>(table.Entries().size());
        encoding.value.kind = AMQP_FIELD_KIND_TABLE;
        EncodeEntries(table, encoding.value.value.table);
    }
    return encoding.Finish();
}

amqp_field_value_t EncodeFieldValue(const FieldValue& value)
{
    amqp_field_value_t encoded{};
    EncodeInto(value, encoded);
    return encoded;
}

void ReleaseFieldValue(amqp_field_value_t& value)
{
    if (HasBlocks(value))
    {
        ReleaseBlocks(value);
        value = {};
    }
}

EncodedTable::EncodedTable(const Table& table)
{
    if (table.Size() > few.size())
    {
        encoded = EncodeTable(table).value.table;
        nested = true; // perhaps: the destructor looks at each entry
        return;
    }
    if (table.Empty())
    {
        return;
    }
    encoded.entries = few.data();
    try
    {
        nested = EncodeEntries(table, encoded);
    }
    catch (...)
    {
        ReleaseEntries(encoded);
        throw;
    }
}

EncodedTable::~EncodedTable()
{
    if (nested)
    {
        ReleaseEntries(encoded);
    }
    if (encoded.entries != few.data()) // the pointer of an empty table is null, which std::free accepts
    {
        std::free(encoded.entries);
    }
}

} // namespace Amqp
