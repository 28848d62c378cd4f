// A table encoded for the length of a scope: few entries in place, many in a block of their own, both the same.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Fields.hpp"
#include "WireForm.hpp"

using namespace Amqp;
using namespace std::string_literals;

namespace
{

Table WithEntries(int count)
{
    Table table;
    for (int i = 0; i < count; ++i)
    {
        table.Insert("key " + std::to_string(i), i);
    }
    return table;
}

// Whether rabbitmq-c is given the very address of the object.
bool IsInPlace(const EncodedTable& encoded)
{
    const auto* const begin = reinterpret_cast<const char*>(&encoded);
    const auto* const entries = reinterpret_cast<const char*>(encoded.Get().entries);
    return entries >= begin && entries < begin + sizeof encoded;
}

} // namespace

TEST(EncodedTable, HoldsUpToEightEntriesInPlaceAndMoreApart)
{
    for (const int count : {1, 2, 7, 8, 9, 10, 100})
    {
        const Table table = WithEntries(count);
        const EncodedTable encoded(table);

        EXPECT_EQ(encoded.Get().num_entries, count);
        EXPECT_EQ(IsInPlace(encoded), count <= 8) << count;
        EXPECT_EQ(Describe(ReadTable(WriteTable(encoded.Get()))), Describe(table));
    }
}

TEST(EncodedTable, OfNoEntriesIsNull)
{
    const Table table;
    const EncodedTable encoded(table);

    EXPECT_EQ(encoded.Get().num_entries, 0);
    EXPECT_EQ(encoded.Get().entries, nullptr);
}

TEST(EncodedTable, OfTablesAndArraysInEachOfItsEntries)
{
    for (const int count : {1, 8, 9})
    {
        Table table;
        for (int i = 0; i < count; ++i)
        {
            Table inner = WithEntries(count);
            inner.Insert("array", FieldValue(Array({"one"s, "two"s})));
            inner.Insert("empty", Table());
            table.Insert("key " + std::to_string(i), inner);
        }
        const EncodedTable encoded(table);

        EXPECT_EQ(Describe(ReadTable(WriteTable(encoded.Get()))), Describe(table)) << count;
    }
}
