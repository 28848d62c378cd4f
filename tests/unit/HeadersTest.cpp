// The headers of a message: how they are replaced or filled in place, and when they count as set.
#include <utility>

#include <amqp/MetaData.hpp>
#include <gtest/gtest.h>

#include "Fields.hpp"

using namespace Amqp;

namespace
{

constexpr const char* described = "{<key>=11:\"value\";}";

Table Filled()
{
    Table table;
    table.Insert("key", "value");
    return table;
}

} // namespace

TEST(Headers, SetterReplacesWhatWasThereAndSetsItsBit)
{
    MetaData metaData;
    metaData.Headers().Insert("old", 1);
    const Table table = Filled();

    metaData.Headers(table);

    EXPECT_EQ(Describe(metaData.Headers()), described);
    EXPECT_EQ(metaData.Flags(), 0x2000U);
}

TEST(Headers, MovedTableIsCopiedAndLeftUnchanged)
{
    MetaData metaData;
    Table table = Filled();

    metaData.Headers(std::move(table));

    EXPECT_EQ(Describe(metaData.Headers()), described);
    EXPECT_EQ(Describe(table), described); // NOLINT(bugprone-use-after-move): that is the subject
    EXPECT_EQ(metaData.Flags(), 0x2000U);
}

TEST(Headers, EmptyTableSetsTheBit)
{
    MetaData metaData;

    metaData.Headers(Table());

    EXPECT_TRUE(metaData.Headers().Empty());
    EXPECT_EQ(metaData.Flags(), 0x2000U);
}

TEST(Headers, FilledInPlaceDoNotSetTheBit)
{
    MetaData metaData;

    metaData.Headers().Insert("key", "value");

    EXPECT_EQ(Describe(metaData.Headers()), described);
    EXPECT_EQ(metaData.Flags(), 0U);
}

TEST(Headers, SetToThemselvesStayAndSetTheBit)
{
    MetaData metaData;
    metaData.Headers().Insert("key", "value");
    const FieldValue* const stored = &metaData.Headers().Entries().at("key");

    metaData.Headers(std::as_const(metaData).Headers());

    EXPECT_EQ(Describe(metaData.Headers()), described);
    EXPECT_EQ(&metaData.Headers().Entries().at("key"), stored);
    EXPECT_EQ(metaData.Flags(), 0x2000U);
}

TEST(Headers, MovedToThemselvesStay)
{
    MetaData metaData;
    metaData.Headers().Insert("key", "value");

    metaData.Headers(std::move(metaData.Headers()));

    EXPECT_EQ(Describe(metaData.Headers()), described);
}

TEST(Headers, MayBeReplacedByATableInsideThem)
{
    MetaData metaData;
    metaData.Headers().Insert("inner", Filled());

    metaData.Headers(std::get<Table>(metaData.Headers().Entries().at("inner")));

    EXPECT_EQ(Describe(metaData.Headers()), described);
}
