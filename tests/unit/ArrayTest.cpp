// The sequence of field values: made whole, then only read.
#include <cstdint>
#include <string>
#include <vector>

#include <amqp/Array.hpp>
#include <gtest/gtest.h>

#include "Fields.hpp"

using namespace Amqp;
using namespace std::string_literals;

TEST(Array, IsEmptyWhenMade)
{
    const Array array;

    EXPECT_TRUE(array.Empty());
    EXPECT_EQ(array.Size(), 0U);
    EXPECT_TRUE(array.Entries().empty());
}

TEST(Array, IsEmptyWhenMadeFromNoElements)
{
    const Array array(std::vector<FieldValue>{});

    EXPECT_TRUE(array.Empty());
    EXPECT_EQ(array.Size(), 0U);
}

TEST(Array, IsEmptyWhenMadeFromAnEmptyList)
{
    const Array array({});

    EXPECT_TRUE(array.Empty());
    EXPECT_EQ(array.Size(), 0U);
}

TEST(Array, KeepsElementsInTheirOrder)
{
    const Array array({3, 1, 2, 1});

    EXPECT_FALSE(array.Empty());
    EXPECT_EQ(array.Size(), 4U);
    EXPECT_EQ(Describe(array), "[3:3;3:1;3:2;3:1;]");
}

TEST(Array, KeepsElementsOfDifferentAlternatives)
{
    Table table;
    table.Insert("key", 1);

    const Array array({true, "text"s, std::uint64_t{2}, Array({1}), table});

    EXPECT_EQ(Describe(array), "[0:1;11:\"text\";8:2;12:[3:1;];13:{<key>=3:1;};]");
}

TEST(Array, OfOneArrayIsNotThatArray)
{
    const Array array(std::vector<FieldValue>{Array({1, 2})});

    ASSERT_EQ(array.Size(), 1U);
    EXPECT_EQ(array.Entries().front().index(), 12U);
    EXPECT_EQ(Describe(array), "[12:[3:1;3:2;];]");
}

TEST(Array, MovesAVectorIn)
{
    std::vector<FieldValue> elements = {1, 2};
    const FieldValue* const first = elements.data();

    const Array array(std::move(elements));

    EXPECT_EQ(array.Entries().data(), first);
}
