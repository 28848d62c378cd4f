// Tables through the form that rabbitmq-c writes and reads: what comes back is what was sent.
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <amqp/Table.hpp>
#include <gtest/gtest.h>

#include "Fields.hpp"
#include "RandomTable.hpp"
#include "WireForm.hpp"

using namespace Amqp;
using namespace std::string_literals;

namespace
{

Table ThereAndBack(const Table& table)
{
    return ReadTable(WriteTable(EncodedTable(table).Get()));
}

void ExpectSame(const Table& table)
{
    EXPECT_EQ(Describe(ThereAndBack(table)), Describe(table));
}

template <typename Number>
void InsertExtremes(Table& table, const std::string& name)
{
    table.Insert(name + " lowest", std::numeric_limits<Number>::lowest());
    table.Insert(name + " zero", Number{0});
    table.Insert(name + " max", std::numeric_limits<Number>::max());
}

template <typename Number>
void InsertSpecials(Table& table, const std::string& name)
{
    table.Insert(name + " smallest", std::numeric_limits<Number>::denorm_min());
    table.Insert(name + " infinite", std::numeric_limits<Number>::infinity());
    table.Insert(name + " negative zero", -Number{0});
    table.Insert(name + " nan", std::numeric_limits<Number>::quiet_NaN());
}

} // namespace

TEST(FieldRoundTrip, KeepsNumbersAtTheirExtremes)
{
    Table table;
    table.Insert("true", true);
    table.Insert("false", false);
    InsertExtremes<std::int8_t>(table, "i8");
    InsertExtremes<std::int16_t>(table, "i16");
    InsertExtremes<std::int32_t>(table, "i32");
    InsertExtremes<std::int64_t>(table, "i64");
    InsertExtremes<std::uint8_t>(table, "u8");
    InsertExtremes<std::uint16_t>(table, "u16");
    InsertExtremes<std::uint32_t>(table, "u32");
    InsertExtremes<std::uint64_t>(table, "u64");
    InsertExtremes<float>(table, "f32");
    InsertExtremes<double>(table, "f64");
    InsertSpecials<float>(table, "f32");
    InsertSpecials<double>(table, "f64");

    ExpectSame(table);
}

TEST(FieldRoundTrip, KeepsEveryOctetOfAText)
{
    std::string octets;
    for (int octet = 0; octet < 256; ++octet)
    {
        octets += static_cast<char>(octet);
    }
    Table table;
    table.Insert(octets.substr(0, 255), octets);
    table.Insert("empty", ""s);
    table.Insert("long", std::string(70000, 'x'));

    ExpectSame(table);
}

TEST(FieldRoundTrip, KeepsEmptyTablesAndArrays)
{
    Table table;
    table.Insert("array", Array());
    table.Insert("table", Table());

    ExpectSame(table);
    ExpectSame(Table());
}

TEST(FieldRoundTrip, LosesTheOddElementsOfAMixedArray)
{
    Table table;
    table.Insert("array", Array({1, "a"s, 2, std::int64_t{3}}));

    EXPECT_EQ(Describe(ThereAndBack(table)), "{<array>=12:[3:1;3:2;];}");
}

TEST(FieldRoundTrip, LosesATableUnderTheEmptyKey)
{
    Table table;
    table.Insert("", Table());
    table.Insert("x", 1);

    EXPECT_EQ(Describe(ThereAndBack(table)), "{<x>=3:1;}");
}

TEST(FieldRoundTrip, ReadsAVoidAsFalse)
{
    std::vector<amqp_table_entry_t> entries = {{ToBytes("void"), OfKind(AMQP_FIELD_KIND_VOID)}};

    EXPECT_EQ(Describe(ReadTable(WriteTable(RawTable(entries)))), "{<void>=0:0;}");
}

TEST(FieldRoundTrip, KeepsTablesMadeAtRandom)
{
    RandomTable random(true);
    for (int i = 0; i < 300; ++i)
    {
        const Table table = random.Make();

        ASSERT_EQ(Describe(ThereAndBack(table)), Describe(table)) << "table " << i;
    }
}
