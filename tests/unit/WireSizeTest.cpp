// How many octets a table takes, measured against what rabbitmq-c really writes, and the keys that cannot be written.
#include <cstdint>
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

void ExpectWritten(const amqp_table_t& table, const std::string& name)
{
    const auto size = WireSize(table);

    ASSERT_TRUE(size.has_value()) << name;
    EXPECT_EQ(*size, WriteTable(table).size()) << name;
    EXPECT_GE(WireSizeAtMost(table).value_or(*size), *size) << name;
}

bool IsWritable(const Table& table)
{
    return WireSize(EncodedTable(table).Get()).has_value();
}

// A table with one key of the given length, three levels down: in a table, inside an array, inside a table.
Table WithDeepKey(std::size_t length)
{
    Table inner;
    inner.Insert(std::string(length, 'k'), 1);
    Table middle;
    middle.Insert("inner", inner);
    Table outer;
    outer.Insert("array", Array({middle, middle}));
    return outer;
}

} // namespace

TEST(WireSize, IsWhatIsWrittenForEveryAlternative)
{
    Table inner;
    inner.Insert("key", "value");
    const FieldValue values[] = {true,
                                 std::int8_t{-1},
                                 std::int16_t{-1},
                                 std::int32_t{-1},
                                 std::int64_t{-1},
                                 std::uint8_t{1},
                                 std::uint16_t{1},
                                 std::uint32_t{1},
                                 std::uint64_t{1},
                                 1.0F,
                                 1.0,
                                 "text"s,
                                 Array({1, "mixed"s}),
                                 inner};
    for (const FieldValue& value : values)
    {
        Table table;
        table.Insert("key", FieldValue(value));

        ExpectWritten(EncodedTable(table).Get(), Describe(value));
    }
}

TEST(WireSize, IsWhatIsWrittenForVoid)
{
    std::vector<amqp_table_entry_t> entries = {{ToBytes("void"), OfKind(AMQP_FIELD_KIND_VOID)}};

    ExpectWritten(RawTable(entries), "void");
}

TEST(WireSize, IsWhatIsWrittenForEmptyTextsArraysAndTables)
{
    ExpectWritten(EncodedTable(Table()).Get(), "nothing");
    for (const FieldValue& value : {FieldValue(""s), FieldValue(Array()), FieldValue(Table())})
    {
        Table table;
        table.Insert("key", FieldValue(value));

        ExpectWritten(EncodedTable(table).Get(), Describe(value));
    }
}

TEST(WireSize, IsWhatIsWrittenForTablesMadeAtRandom)
{
    RandomTable random(false);
    for (int i = 0; i < 300; ++i)
    {
        const Table table = random.Make();

        ExpectWritten(EncodedTable(table).Get(), "table " + std::to_string(i));
    }
}

TEST(WireSize, CountsAKeyOf255Bytes)
{
    Table table;
    table.Insert(std::string(255, 'k'), 1);

    ExpectWritten(EncodedTable(table).Get(), "key of 255");
    ExpectWritten(EncodedTable(WithDeepKey(255)).Get(), "deep key of 255");
}

TEST(WireSize, IsAbsentForAKeyOf256Bytes)
{
    Table table;
    table.Insert(std::string(256, 'k'), 1);

    EXPECT_FALSE(IsWritable(table));
}

TEST(WireSize, IsAbsentForAKeyOf256BytesInANestedTableInsideAnArray)
{
    EXPECT_FALSE(IsWritable(WithDeepKey(256)));
}

TEST(WireSize, IsAbsentWhenOnlyTheLastKeyIsTooLong)
{
    Table table;
    table.Insert("a", 1);
    table.Insert(std::string(256, 'k'), 1);

    EXPECT_FALSE(IsWritable(table));
}

TEST(WireSizeAtMost, IsKnownForWhatIsNotNested)
{
    Table table;
    table.Insert("flag", true);
    table.Insert("number", std::uint64_t{1});
    table.Insert("text", "value");
    const EncodedTable encoded(table);

    ASSERT_TRUE(WireSizeAtMost(encoded.Get()));
    EXPECT_LE(*WireSizeAtMost(encoded.Get()), *WireSize(encoded.Get()) + 8 * table.Size());
}

TEST(WireSizeAtMost, IsLeftToWireSizeForKeysOf256BytesAndNestedValues)
{
    for (const FieldValue& nested : {FieldValue(Array({1})), FieldValue(WithDeepKey(1))})
    {
        Table table;
        table.Insert("flat", 1);
        table.Insert("nested", FieldValue(nested));

        EXPECT_FALSE(WireSizeAtMost(EncodedTable(table).Get())) << Describe(nested);
    }
    Table table;
    table.Insert(std::string(255, 'k'), 1);
    EXPECT_TRUE(WireSizeAtMost(EncodedTable(table).Get()));
    table.Insert(std::string(256, 'k'), 1);
    EXPECT_FALSE(WireSizeAtMost(EncodedTable(table).Get()));
}
