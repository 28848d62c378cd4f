// Field values into rabbitmq-c's structures: every alternative at its extremes, nesting, and that text is borrowed.
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include "Fields.hpp"
#include "values/FieldCodec.hpp"

using namespace Amqp;
using namespace std::string_literals;

namespace
{

// Encodes both ends of a number's range and looks at the kind and at the union's member.
template <typename Number>
void ExpectEncoded(std::uint8_t kind, Number decltype(amqp_field_value_t::value)::*member)
{
    using Limits = std::numeric_limits<Number>;
    for (const Number number : {Limits::lowest(), Number{0}, Number{1}, Limits::max()})
    {
        const EncodedValue encoded{FieldValue(number)};

        EXPECT_EQ(encoded.raw.kind, kind) << +number;
        EXPECT_EQ(encoded.raw.value.*member, number);
    }
}

using Union = decltype(amqp_field_value_t::value);

std::string_view KeyAt(const amqp_table_t& table, int index)
{
    return ToView(table.entries[index].key);
}

// Leaves garbage where the next call has its locals, so that a member that is not initialised does not look like null.
[[gnu::noinline]] void DirtyTheStack()
{
    volatile unsigned char garbage[4096];
    for (volatile unsigned char& octet : garbage)
    {
        octet = 0xA5;
    }
}

// Elements that cannot be had, to leave a variant without a value.
struct Refusing
{
    // NOLINTNEXTLINE(google-explicit-constructor): it stands in for the elements
    operator std::vector<FieldValue>() const { throw std::runtime_error("refused"); }
};

FieldValue Valueless()
{
    FieldValue value(1);
    EXPECT_THROW(value.emplace<Array>(Refusing()), std::runtime_error);
    EXPECT_TRUE(value.valueless_by_exception());
    return value;
}

} // namespace

TEST(FieldEncoder, EncodesBooleansAsOneAndZero)
{
    for (const bool boolean : {true, false})
    {
        const EncodedValue encoded{FieldValue(boolean)};

        EXPECT_EQ(encoded.raw.kind, AMQP_FIELD_KIND_BOOLEAN);
        EXPECT_EQ(encoded.raw.value.boolean, boolean ? 1 : 0);
    }
}

TEST(FieldEncoder, EncodesSignedIntegersAtTheirExtremes)
{
    ExpectEncoded<std::int8_t>(AMQP_FIELD_KIND_I8, &Union::i8);
    ExpectEncoded<std::int16_t>(AMQP_FIELD_KIND_I16, &Union::i16);
    ExpectEncoded<std::int32_t>(AMQP_FIELD_KIND_I32, &Union::i32);
    ExpectEncoded<std::int64_t>(AMQP_FIELD_KIND_I64, &Union::i64);
}

TEST(FieldEncoder, EncodesUnsignedIntegersAtTheirExtremes)
{
    ExpectEncoded<std::uint8_t>(AMQP_FIELD_KIND_U8, &Union::u8);
    ExpectEncoded<std::uint16_t>(AMQP_FIELD_KIND_U16, &Union::u16);
    ExpectEncoded<std::uint32_t>(AMQP_FIELD_KIND_U32, &Union::u32);
    ExpectEncoded<std::uint64_t>(AMQP_FIELD_KIND_U64, &Union::u64);
}

TEST(FieldEncoder, EncodesFloatingNumbersAtTheirExtremes)
{
    ExpectEncoded<float>(AMQP_FIELD_KIND_F32, &Union::f32);
    ExpectEncoded<double>(AMQP_FIELD_KIND_F64, &Union::f64);
}

TEST(FieldEncoder, EncodesAStringAsBytesEvenWhenItIsValidText)
{
    const FieldValue value("valid text"s);
    const EncodedValue encoded(value);

    EXPECT_EQ(encoded.raw.kind, 'x');
    EXPECT_EQ(ToView(encoded.raw.value.bytes), "valid text");
}

TEST(FieldEncoder, BorrowsTheCharactersOfAString)
{
    const FieldValue value("a\0b"s);
    const EncodedValue encoded(value);

    EXPECT_EQ(encoded.raw.value.bytes.len, 3U);
    EXPECT_EQ(encoded.raw.value.bytes.bytes, std::get<std::string>(value).data());
}

TEST(FieldEncoder, BorrowsTheCharactersOfKeysAndOfNestedStrings)
{
    Table inner;
    inner.Insert("nested key", "nested text");
    Table table;
    table.Insert("table", inner);
    const EncodedTable encoded(table);

    const auto& [key, value] = *table.Entries().begin();
    const auto& [nestedKey, nestedValue] = *std::get<Table>(value).Entries().begin();
    const amqp_table_entry_t& entry = encoded.Get().entries[0];
    const amqp_table_entry_t& nested = entry.value.value.table.entries[0];
    EXPECT_EQ(entry.key.bytes, key.data());
    EXPECT_EQ(nested.key.bytes, nestedKey.data());
    EXPECT_EQ(nested.value.value.bytes.bytes, std::get<std::string>(nestedValue).data());
}

TEST(FieldEncoder, EncodesAValuelessVariantAsVoid)
{
    const FieldValue valueless = Valueless();
    const EncodedValue encoded(valueless);

    EXPECT_EQ(encoded.raw.kind, AMQP_FIELD_KIND_VOID);
}

TEST(FieldEncoder, EncodesAnEmptyTableAsVoidWithNoEntriesAndANullPointer)
{
    DirtyTheStack();
    amqp_field_value_t encoded = EncodeTable(Table());

    EXPECT_EQ(encoded.kind, AMQP_FIELD_KIND_VOID);
    EXPECT_EQ(encoded.value.table.num_entries, 0);
    EXPECT_EQ(encoded.value.table.entries, nullptr);
    ReleaseFieldValue(encoded);
}

TEST(FieldEncoder, EncodesATableThatIsNotEmptyAsATable)
{
    Table table;
    table.Insert("key", 1);
    amqp_field_value_t encoded = EncodeTable(table);

    EXPECT_EQ(encoded.kind, AMQP_FIELD_KIND_TABLE);
    EXPECT_EQ(encoded.value.table.num_entries, 1);
    ReleaseFieldValue(encoded);
}

TEST(FieldEncoder, EncodesAnEmptyNestedArrayAsAnArrayWithNoEntriesAndANullPointer)
{
    DirtyTheStack();
    amqp_field_value_t array = EncodeFieldValue(FieldValue(Array()));

    EXPECT_EQ(array.kind, 'A');
    EXPECT_EQ(array.value.array.num_entries, 0);
    ASSERT_EQ(array.value.array.entries, nullptr);
    ReleaseFieldValue(array);
}

TEST(FieldEncoder, EncodesAnEmptyNestedTableAsATableWithNoEntriesAndANullPointer)
{
    DirtyTheStack();
    amqp_field_value_t table = EncodeFieldValue(FieldValue(Table()));

    EXPECT_EQ(table.kind, 'F');
    EXPECT_EQ(table.value.table.num_entries, 0);
    ASSERT_EQ(table.value.table.entries, nullptr);
    ReleaseFieldValue(table);
}

TEST(FieldEncoder, EncodesEntriesInByteOrderOfKeys)
{
    Table table;
    for (const std::string_view key : {"ab", "a", "B"})
    {
        table.Insert(key, true);
    }
    const EncodedTable encoded(table);

    ASSERT_EQ(encoded.Get().num_entries, 3);
    EXPECT_EQ(KeyAt(encoded.Get(), 0), "B");
    EXPECT_EQ(KeyAt(encoded.Get(), 1), "a");
    EXPECT_EQ(KeyAt(encoded.Get(), 2), "ab");
}

TEST(FieldEncoder, EncodesElementsInTheirOrderWhateverTheirAlternatives)
{
    const FieldValue value(Array({2, "text"s, 1}));
    const EncodedValue encoded(value);

    const amqp_array_t& array = encoded.raw.value.array;
    ASSERT_EQ(array.num_entries, 3);
    EXPECT_EQ(array.entries[0].value.i32, 2);
    EXPECT_EQ(array.entries[1].kind, AMQP_FIELD_KIND_BYTES);
    EXPECT_EQ(array.entries[2].value.i32, 1);
}

TEST(FieldEncoder, EncodesTablesAndArraysSeveralDeep)
{
    FieldValue value("bottom"s);
    for (int depth = 0; depth < 10; ++depth)
    {
        Table table;
        table.Insert("down", Array({value, value}));
        value = table;
    }
    const EncodedValue encoded(value);

    const amqp_field_value_t* level = &encoded.raw;
    for (int depth = 0; depth < 10; ++depth)
    {
        ASSERT_EQ(level->kind, AMQP_FIELD_KIND_TABLE) << depth;
        ASSERT_EQ(level->value.table.num_entries, 1) << depth;
        const amqp_field_value_t& array = level->value.table.entries[0].value;
        ASSERT_EQ(array.kind, AMQP_FIELD_KIND_ARRAY) << depth;
        ASSERT_EQ(array.value.array.num_entries, 2) << depth;
        level = &array.value.array.entries[1];
    }
    EXPECT_EQ(ToView(level->value.bytes), "bottom");
}

TEST(FieldEncoder, ReleasedValueIsVoidAndMayBeReleasedAgain)
{
    const FieldValue value(Array({1, 2}));
    amqp_field_value_t encoded = EncodeFieldValue(value);

    ReleaseFieldValue(encoded);
    ReleaseFieldValue(encoded);

    EXPECT_NE(encoded.kind, AMQP_FIELD_KIND_ARRAY);
    EXPECT_EQ(encoded.value.array.num_entries, 0);
}
