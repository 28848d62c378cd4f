// Copies of tables and arrays are deep, a table that is moved is copied, and a part of a value may replace the whole.
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

#include <amqp/Array.hpp>
#include <amqp/Table.hpp>
#include <gtest/gtest.h>

#include "Fields.hpp"

using namespace Amqp;

namespace
{

// A table that holds itself three deep, through an array as well.
Table Nested()
{
    Table leaf;
    leaf.Insert("leaf", std::string(100, 'l'));
    Table middle;
    middle.Insert("array", Array({leaf, leaf}));
    Table outer;
    outer.Insert("middle", middle);
    return outer;
}

} // namespace

TEST(TableCopy, HoldsTheSameAndSharesNoText)
{
    const Table original = Nested();

    const Table copy(original); // NOLINT(performance-unnecessary-copy-initialization): that is the subject

    const auto leafText = [](const Table& table)
    {
        const auto& middle = std::get<Table>(table.Entries().at("middle"));
        const auto& leaf = std::get<Table>(std::get<Array>(middle.Entries().at("array")).Entries().at(1));
        return std::get<std::string>(leaf.Entries().at("leaf")).data();
    };
    EXPECT_EQ(Describe(copy), Describe(original));
    EXPECT_NE(leafText(copy), leafText(original));
}

TEST(TableCopy, IsNotChangedWithItsSource)
{
    Table original = Nested();
    const Table copy = original;

    original.Remove("middle");

    EXPECT_EQ(Describe(copy), Describe(Nested()));
}

TEST(TableCopy, AssignmentReplacesWhatWasThere)
{
    Table table;
    table.Insert("old", 1);

    table = Nested();

    EXPECT_EQ(Describe(table), Describe(Nested()));
}

TEST(TableCopy, AssignmentToItselfChangesNothing)
{
    Table table = Nested();
    const Table& same = table;

    table = same;

    EXPECT_EQ(Describe(table), Describe(Nested()));
}

TEST(TableCopy, AssignmentOfATableInsideItselfKeepsWhatThatHeld)
{
    Table table = Nested();
    const std::string expected = Describe(std::get<Table>(table.Entries().at("middle")));

    table = std::get<Table>(table.Entries().at("middle"));

    EXPECT_EQ(Describe(table), expected);
}

TEST(TableMove, CopiesAndLeavesTheSourceUnchanged)
{
    Table source = Nested();

    const Table constructed(std::move(source));
    Table assigned;
    assigned = std::move(source); // NOLINT(bugprone-use-after-move): that is the subject

    EXPECT_EQ(Describe(constructed), Describe(Nested()));
    EXPECT_EQ(Describe(assigned), Describe(Nested()));
    EXPECT_EQ(Describe(source), Describe(Nested())); // NOLINT(bugprone-use-after-move): that is the subject
}

TEST(ArrayCopy, HoldsTheSameAndSharesNoText)
{
    const Array original({std::string(100, 'x')});

    const Array copy(original); // NOLINT(performance-unnecessary-copy-initialization): that is the subject

    EXPECT_EQ(Describe(copy), Describe(original));
    EXPECT_NE(std::get<std::string>(copy.Entries()[0]).data(), std::get<std::string>(original.Entries()[0]).data());
}

TEST(ArrayCopy, AssignmentReplacesWhatWasThere)
{
    const Array source({std::string("a"), Nested()});
    Array array({1, 2, 3});

    array = source;

    EXPECT_EQ(Describe(array), Describe(source));
}

TEST(ArrayCopy, AssignmentOfAnArrayInsideItselfKeepsWhatThatHeld)
{
    Array array({Array({1, 2}), Array({3})});

    array = std::get<Array>(array.Entries()[0]);

    EXPECT_EQ(Describe(array), "[3:1;3:2;]");
}

TEST(ArrayMove, TakesOverTheElementsAndLeavesTheSourceEmpty)
{
    Array source({1, 2, 3});
    const FieldValue* const first = source.Entries().data();

    const Array array(std::move(source));

    EXPECT_EQ(array.Entries().data(), first);
    EXPECT_TRUE(source.Empty()); // NOLINT(bugprone-use-after-move): that is the subject
}

TEST(ArrayMove, AssignmentTakesOverTheElements)
{
    Array source({1, 2, 3});
    const FieldValue* const first = source.Entries().data();
    Array array({4});

    array = std::move(source);

    EXPECT_EQ(array.Entries().data(), first);
    EXPECT_EQ(Describe(array), "[3:1;3:2;3:3;]");
}
