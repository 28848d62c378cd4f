// The map of field values: what each way to insert accepts and refuses, the order of keys, and that everything is
// copied.
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include <amqp/Table.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Fields.hpp"

using namespace Amqp;
using namespace std::string_literals;
using namespace std::string_view_literals;

namespace
{

Table Inner()
{
    Table inner;
    inner.Insert("text", "deep");
    return inner;
}

// One function for each way to insert, so that the rules they share are tested on all of them.
struct Way
{
    const char* name;
    bool (*insert)(Table&, std::string_view);
    std::string stored;
};

const std::vector<Way> ways = {
    {"FieldValue&&", [](Table& table, std::string_view key) { return table.Insert(key, FieldValue(true)); }, "0:1"},
    {"FieldValue&",
     [](Table& table, std::string_view key)
     {
         FieldValue value(std::uint8_t{7});
         return table.Insert(key, value);
     },
     "5:7"},
    {"string_view", [](Table& table, std::string_view key) { return table.Insert(key, "view"sv); }, "11:\"view\""},
    {"string", [](Table& table, std::string_view key) { return table.Insert(key, "text"s); }, "11:\"text\""},
    {"const Table&",
     [](Table& table, std::string_view key)
     {
         const Table inner = Inner();
         return table.Insert(key, inner);
     },
     "13:{<text>=11:\"deep\";}"},
    {"literal", [](Table& table, std::string_view key) { return table.Insert(key, "literal"); }, "11:\"literal\""},
    {"number", [](Table& table, std::string_view key) { return table.Insert(key, 0); }, "3:0"}};

const Way moved = {"Table&&", [](Table& table, std::string_view key) { return table.Insert(key, Inner()); },
                   "13:{<text>=11:\"deep\";}"};

std::vector<Way> AllWays()
{
    std::vector<Way> all = ways;
    all.push_back(moved);
    return all;
}

std::vector<std::string> Keys(const Table& table)
{
    std::vector<std::string> keys;
    for (const auto& entry : table.Entries())
    {
        keys.push_back(entry.first);
    }
    return keys;
}

} // namespace

TEST(Table, IsEmptyWhenMade)
{
    const Table table;

    EXPECT_TRUE(table.Empty());
    EXPECT_EQ(table.Size(), 0U);
    EXPECT_TRUE(table.Entries().empty());
}

TEST(Table, InsertStoresTheValueInEveryOverload)
{
    for (const Way& way : AllWays())
    {
        Table table;

        EXPECT_TRUE(way.insert(table, "key")) << way.name;
        EXPECT_EQ(table.Size(), 1U) << way.name;
        EXPECT_EQ(Describe(table), "{<key>=" + way.stored + ";}") << way.name;
    }
}

TEST(Table, InsertOfAPresentKeyReturnsFalseAndLeavesTheOldValueInEveryOverload)
{
    for (const Way& way : AllWays())
    {
        Table table;
        table.Insert("key", "old");

        EXPECT_FALSE(way.insert(table, "key")) << way.name;
        EXPECT_EQ(Describe(table), "{<key>=11:\"old\";}") << way.name;
    }
}

TEST(Table, InsertOfTheEmptyKeyIsRefusedInEveryOverloadButTheMovedTable)
{
    for (const Way& way : ways)
    {
        Table table;

        EXPECT_FALSE(way.insert(table, "")) << way.name;
        EXPECT_TRUE(table.Empty()) << way.name;
    }
}

TEST(Table, InsertOfAMovedTableAcceptsTheEmptyKeyOnce)
{
    Table table;

    EXPECT_TRUE(moved.insert(table, ""));
    EXPECT_FALSE(table.Insert("", Table()));
    EXPECT_EQ(Describe(table), "{<>=" + moved.stored + ";}");
}

TEST(Table, RemoveOfTheEmptyKeyRemovesTheTableStoredUnderIt)
{
    Table table;
    table.Insert("", Inner());

    EXPECT_TRUE(table.Remove(""));
    EXPECT_TRUE(table.Empty());
    EXPECT_FALSE(table.Remove(""));
}

TEST(Table, RemoveThenInsertOfTheSameKeyReturnsTrue)
{
    Table table;
    table.Insert("key", "old");

    EXPECT_TRUE(table.Remove("key"));
    EXPECT_TRUE(table.Insert("key", "new"));
    EXPECT_EQ(Describe(table), "{<key>=11:\"new\";}");
}

TEST(Table, RemoveOfAnAbsentKeyReturnsFalseAndChangesNothing)
{
    Table table;
    table.Insert("key", 1);

    EXPECT_FALSE(table.Remove("ke"));
    EXPECT_EQ(table.Size(), 1U);
}

TEST(Table, VisitsKeysInByteOrder)
{
    Table table;
    for (const std::string_view key : {"ab"sv, "\xC3\xA4"sv, "a"sv, "B"sv, "a\0"sv, "b"sv})
    {
        table.Insert(key, true);
    }

    EXPECT_THAT(Keys(table), testing::ElementsAre("B", "a", "a\0"s, "ab", "b", "\xC3\xA4"));
}

TEST(Table, RefusesToInsertItselfThroughTheConstReference)
{
    Table table = Inner();

    EXPECT_FALSE(table.Insert("self", std::as_const(table)));
    EXPECT_EQ(Describe(table), Describe(Inner()));
}

TEST(Table, InsertsAnEqualTableThatIsAnotherObject)
{
    Table table = Inner();
    const Table other = table;

    EXPECT_TRUE(table.Insert("other", other));
}

TEST(Table, InsertOfItselfMovedAddsWhatItHeld)
{
    Table table = Inner();

    EXPECT_TRUE(table.Insert("self", std::move(table)));
    // NOLINTNEXTLINE(bugprone-use-after-move): that is the subject
    EXPECT_EQ(Describe(table), "{<self>=13:{<text>=11:\"deep\";};<text>=11:\"deep\";}");
}

TEST(Table, InsertLeavesAMovedTableUnchanged)
{
    Table source = Inner();
    Table table;

    table.Insert("key", std::move(source));

    EXPECT_EQ(Describe(source), Describe(Inner())); // NOLINT(bugprone-use-after-move): that is the subject
}

TEST(Table, InsertMovesATemporaryFieldValueIn)
{
    FieldValue value(std::string(100, 'x'));
    const char* const characters = std::get<std::string>(value).data();
    Table table;

    table.Insert("key", std::move(value));

    EXPECT_EQ(std::get<std::string>(table.Entries().at("key")).data(), characters);
}

TEST(Table, InsertMovesAStringIn)
{
    std::string text(100, 'x');
    const char* const characters = text.data();
    Table table;

    table.Insert("key", std::move(text));

    EXPECT_EQ(std::get<std::string>(table.Entries().at("key")).data(), characters);
}

TEST(Table, InsertCopiesANamedFieldValue)
{
    FieldValue value("text"s);
    Table table;

    table.Insert("key", value);
    EXPECT_EQ(Describe(value), "11:\"text\"");
    value = false;

    EXPECT_EQ(Describe(table), "{<key>=11:\"text\";}");
}

TEST(Table, InsertCopiesTheKey)
{
    std::string key = "key";
    Table table;
    table.Insert(key, true);

    key = "other";

    EXPECT_THAT(Keys(table), testing::ElementsAre("key"));
}

TEST(Table, InsertTakesALiteralUpToItsFirstZero)
{
    const char unterminated[] = {'a', 'b'};
    Table table;
    table.Insert("empty", "");
    table.Insert("unterminated", unterminated);
    table.Insert("zero", "ab\0cd");

    EXPECT_EQ(Describe(table), "{<empty>=11:\"\";<unterminated>=11:\"ab\";<zero>=11:\"ab\";}");
}

TEST(Table, InsertKeepsZerosInsideAView)
{
    Table table;
    table.Insert("a\0b"sv, "c\0d"sv);

    EXPECT_EQ(table.Entries().count("a\0b"s), 1U);
    EXPECT_EQ(std::get<std::string>(table.Entries().at("a\0b"s)), "c\0d"s);
}

TEST(Table, InsertStoresANumberAsTheAlternativeOfItsOwnType)
{
    Table table;
    table.Insert("0", true);
    table.Insert("1", std::int8_t{-1});
    table.Insert("2", std::int16_t{-1});
    table.Insert("3", -1);
    table.Insert("4", std::int64_t{-1});
    table.Insert("5", std::uint8_t{1});
    table.Insert("6", std::uint16_t{1});
    table.Insert("7", 1U);
    table.Insert("8", std::uint64_t{1});
    table.Insert("9", 0.5F);
    table.Insert("A", 0.5);

    std::vector<std::size_t> alternatives;
    for (const auto& entry : table.Entries())
    {
        alternatives.push_back(entry.second.index());
    }
    EXPECT_THAT(alternatives, testing::ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10));
}

TEST(Table, InsertTakesTheTextAtAPointer)
{
    std::string text = "text";
    const char* const constant = text.c_str();
    char* const changeable = text.data();
    Table table;

    EXPECT_TRUE(table.Insert("constant", constant));
    EXPECT_TRUE(table.Insert("changeable", changeable));

    EXPECT_EQ(Describe(table), "{<changeable>=11:\"text\";<constant>=11:\"text\";}");
}
