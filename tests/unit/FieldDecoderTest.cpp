// rabbitmq-c's structures into field values: every kind at its extremes, and what is dropped or replaced on receipt.
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Fields.hpp"
#include "values/FieldCodec.hpp"

using namespace Amqp;
using namespace std::string_literals;

namespace
{

using Union = decltype(amqp_field_value_t::value);

template <typename Number>
void ExpectDecoded(std::uint8_t kind, Number Union::*member)
{
    using Limits = std::numeric_limits<Number>;
    for (const Number number : {Limits::lowest(), Number{0}, Number{1}, Limits::max()})
    {
        amqp_field_value_t raw = OfKind(kind);
        raw.value.*member = number;

        EXPECT_EQ(Describe(DecodeFieldValue(raw)), Describe(FieldValue(number)));
    }
}

std::string DecodedArray(std::vector<amqp_field_value_t> elements)
{
    return Describe(DecodeArray(RawArray(elements)));
}

std::string DecodedTable(std::vector<amqp_table_entry_t> entries)
{
    return Describe(DecodeTable(RawTable(entries)));
}

// A kind whose value, were it read, would not be false.
amqp_field_value_t FilledOfKind(std::uint8_t kind)
{
    amqp_field_value_t raw = OfKind(kind);
    raw.value.u64 = 0x0101010101010101U;
    return raw;
}

} // namespace

TEST(FieldDecoder, DecodesSignedIntegersAtTheirExtremes)
{
    ExpectDecoded<std::int8_t>('b', &Union::i8);
    ExpectDecoded<std::int16_t>('s', &Union::i16);
    ExpectDecoded<std::int32_t>('I', &Union::i32);
    ExpectDecoded<std::int64_t>('l', &Union::i64);
}

TEST(FieldDecoder, DecodesUnsignedIntegersAtTheirExtremes)
{
    ExpectDecoded<std::uint8_t>('B', &Union::u8);
    ExpectDecoded<std::uint16_t>('u', &Union::u16);
    ExpectDecoded<std::uint32_t>('i', &Union::u32);
    ExpectDecoded<std::uint64_t>('L', &Union::u64);
}

TEST(FieldDecoder, DecodesFloatingNumbersAtTheirExtremes)
{
    ExpectDecoded<float>('f', &Union::f32);
    ExpectDecoded<double>('d', &Union::f64);
}

TEST(FieldDecoder, DecodesABooleanAsTrueWhenItIsNotZero)
{
    for (const int octet : {0, 1, 2, 255})
    {
        amqp_field_value_t raw = OfKind('t');
        raw.value.boolean = octet;

        EXPECT_EQ(Describe(DecodeFieldValue(raw)), octet == 0 ? "0:0" : "0:1") << octet;
    }
}

TEST(FieldDecoder, DecodesBothKindsOfTextToTheStringAlternative)
{
    EXPECT_EQ(Describe(DecodeFieldValue(RawText("text", 'S'))), "11:\"text\"");
    EXPECT_EQ(Describe(DecodeFieldValue(RawText("text", 'x'))), "11:\"text\"");
}

TEST(FieldDecoder, DecodesTextWithoutAPointerAsEmpty)
{
    EXPECT_EQ(Describe(DecodeFieldValue(OfKind('S'))), "11:\"\"");
    EXPECT_EQ(Describe(DecodeFieldValue(OfKind('x'))), "11:\"\"");
}

TEST(FieldDecoder, CopiesText)
{
    std::string text = "a\0b"s;

    const FieldValue decoded = DecodeFieldValue(RawText(text));
    text.assign(3, '#');

    EXPECT_EQ(std::get<std::string>(decoded), "a\0b"s);
}

TEST(FieldDecoder, DecodesKindsWithoutAnAlternativeAsFalse)
{
    for (int kind = 0; kind < 256; ++kind)
    {
        if ("tbBsuIilLfdSxAF"s.find(static_cast<char>(kind)) == std::string::npos)
        {
            EXPECT_EQ(Describe(DecodeFieldValue(FilledOfKind(static_cast<std::uint8_t>(kind)))), "0:0") << kind;
        }
    }
}

TEST(FieldDecoder, TableYieldsFalseUnderTheKeyOfATimeStampADecimalOrAVoid)
{
    EXPECT_EQ(DecodedTable({{ToBytes("decimal"), FilledOfKind('D')},
                            {ToBytes("time"), FilledOfKind('T')},
                            {ToBytes("void"), FilledOfKind('V')}}),
              "{<decimal>=0:0;<time>=0:0;<void>=0:0;}");
}

TEST(FieldDecoder, ArrayKeepsOnlyTheAlternativeOfItsFirstElement)
{
    EXPECT_EQ(DecodedArray({RawInt(1), RawText("a"), RawInt(2)}), "[3:1;3:2;]");
    EXPECT_EQ(DecodedArray({RawText("a"), RawInt(1), RawText("b")}), "[11:\"a\";11:\"b\";]");
}

TEST(FieldDecoder, ArrayDropsNumbersOfAnotherWidth)
{
    EXPECT_EQ(DecodedArray({RawInt(1), FilledOfKind('l'), FilledOfKind('i'), RawInt(2)}), "[3:1;3:2;]");
}

TEST(FieldDecoder, ArrayTakesBothKindsOfTextForTheSame)
{
    EXPECT_EQ(DecodedArray({RawText("a", 'S'), RawText("b", 'x'), RawText("c", 'S')}), "[11:\"a\";11:\"b\";11:\"c\";]");
}

TEST(FieldDecoder, ArrayTakesATimeStampForABoolean)
{
    EXPECT_EQ(DecodedArray({FilledOfKind('t'), RawInt(1), FilledOfKind('T')}), "[0:1;0:0;]");
    EXPECT_EQ(DecodedArray({FilledOfKind('T'), RawInt(1), FilledOfKind('t')}), "[0:0;0:1;]");
}

TEST(FieldDecoder, EmptyArrayDecodesToAnEmptyArray)
{
    EXPECT_TRUE(DecodeArray({0, nullptr}).Empty());
}

TEST(FieldDecoder, NegativeCountsDecodeToNothing)
{
    EXPECT_TRUE(DecodeArray({-1, nullptr}).Empty());
    EXPECT_TRUE(DecodeTable({-1, nullptr}).Empty());
}

TEST(FieldDecoder, EmptyTableDecodesToAnEmptyTable)
{
    EXPECT_TRUE(DecodeTable({0, nullptr}).Empty());
}

TEST(FieldDecoder, TableKeepsTheFirstValueOfAKeyThatOccursTwice)
{
    EXPECT_EQ(DecodedTable({{ToBytes("x"), RawInt(1)}, {ToBytes("y"), RawInt(2)}, {ToBytes("x"), RawText("late")}}),
              "{<x>=3:1;<y>=3:2;}");
}

TEST(FieldDecoder, TableDropsAnEntryWithAnEmptyKey)
{
    EXPECT_EQ(DecodedTable({{ToBytes(""), RawInt(1)}, {ToBytes("x"), RawInt(2)}, {{0, nullptr}, RawInt(3)}}),
              "{<x>=3:2;}");
}

TEST(FieldDecoder, TableDropsANestedTableWithAnEmptyKey)
{
    EXPECT_EQ(DecodedTable({{ToBytes(""), OfKind('F')}}), "{}");
}

TEST(FieldDecoder, DecodesTablesAndArraysSeveralDeep)
{
    std::vector<amqp_field_value_t> innermost = {RawInt(1), RawText("odd"), RawInt(2)};
    amqp_field_value_t array = OfKind('A');
    array.value.array = RawArray(innermost);
    std::vector<amqp_table_entry_t> inner = {{ToBytes("array"), array}, {ToBytes(""), RawInt(3)}};
    amqp_field_value_t table = OfKind('F');
    table.value.table = RawTable(inner);
    std::vector<amqp_field_value_t> outer = {table, RawInt(4), table};
    amqp_field_value_t outermost = OfKind('A');
    outermost.value.array = RawArray(outer);

    EXPECT_EQ(DecodedTable({{ToBytes("top"), outermost}}),
              "{<top>=12:[13:{<array>=12:[3:1;3:2;];};13:{<array>=12:[3:1;3:2;];};];}");
}
