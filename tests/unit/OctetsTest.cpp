// A body that grows as its bytes arrive: how much memory it takes meanwhile, and who owns the memory.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "engine/Octets.hpp"

namespace
{

using Amqp::Octets;

constexpr std::size_t megabyte = std::size_t{1} << 20;

} // namespace

TEST(Octets, AreNoneAtFirst)
{
    EXPECT_EQ(Octets().View(), "");
    EXPECT_EQ(Octets().Capacity(), 0U);
}

TEST(Octets, FollowEachOtherAsTheyWereAdded)
{
    Octets octets;

    EXPECT_TRUE(octets.Append("one", 8));
    EXPECT_TRUE(octets.Append("", 8));
    EXPECT_TRUE(octets.Append(std::string_view("\0two\xff", 5), 8));

    EXPECT_EQ(octets.View(), std::string_view("one\0two\xff", 8));
}

TEST(Octets, TakeNoMoreThanIsAnnounced)
{
    Octets octets;

    for (const std::string fragment : {"1", "22", "333"})
    {
        EXPECT_TRUE(octets.Append(fragment, 6));
        EXPECT_EQ(octets.Capacity(), 6U);
    }
}

TEST(Octets, TakeWhatTheyNeedWhenTooLittleIsAnnounced)
{
    Octets octets;

    EXPECT_TRUE(octets.Append("123", 0));
    EXPECT_TRUE(octets.Append("456", 4));

    EXPECT_EQ(octets.View(), "123456");
    EXPECT_EQ(octets.Capacity(), 6U);
}

// A peer may announce any size.
TEST(Octets, TakeAMegabyteOrTwiceWhatHasComeWhateverIsAnnounced)
{
    const std::string fragment(100'000, 'f');
    std::string all;
    Octets octets;

    while (all.size() < 5 * megabyte)
    {
        ASSERT_TRUE(octets.Append(fragment, SIZE_MAX));
        all += fragment;
        ASSERT_LE(octets.Capacity(), std::max(megabyte, 2 * all.size()));
    }

    EXPECT_TRUE(octets.View() == all);
}

TEST(Octets, GrowByDoublingAndNotWithEachFragment)
{
    const std::string fragment(1000, 'f');
    Octets octets;
    std::size_t growths = 0;

    for (std::size_t size = 0; size < 16 * megabyte; size += fragment.size())
    {
        const std::size_t before = octets.Capacity();
        ASSERT_TRUE(octets.Append(fragment, 64 * megabyte));
        growths += octets.Capacity() != before ? 1U : 0U;
    }

    EXPECT_EQ(growths, 6U); // 1, 2, 4, 8, 16 megabytes and, for the last fragment, 32
}

TEST(Octets, KeepTheirMemoryWhenTheyAreCleared)
{
    Octets octets;
    EXPECT_TRUE(octets.Append("before", 6));
    const char* const place = octets.Data();

    octets.Clear();
    EXPECT_EQ(octets.View(), "");
    EXPECT_TRUE(octets.Append("after", 5));

    EXPECT_EQ(octets.View(), "after");
    EXPECT_EQ(octets.Data(), place);
    EXPECT_EQ(octets.Capacity(), 6U);
}

TEST(Octets, TakeOverWhatRabbitMqCAllocated)
{
    const amqp_bytes_t allocated = amqp_bytes_malloc_dup(amqp_cstring_bytes("allocated"));

    Octets octets(allocated);

    EXPECT_EQ(octets.View(), "allocated");
    EXPECT_EQ(octets.Data(), allocated.bytes);
    EXPECT_TRUE(octets.Append(", and more", 19));
    EXPECT_EQ(octets.View(), "allocated, and more");
}

TEST(Octets, AreMovedAndNotCopied)
{
    Octets first;
    EXPECT_TRUE(first.Append("octets", 6));
    const char* const place = first.Data();

    Octets second(std::move(first));
    EXPECT_EQ(second.View(), "octets");
    EXPECT_EQ(second.Data(), place);

    Octets third;
    EXPECT_TRUE(third.Append("gone", 4));
    third = std::move(second);
    EXPECT_EQ(third.View(), "octets");
    EXPECT_EQ(third.Data(), place);
}

TEST(Octets, CanBeUsedAgainAfterTheyWereMovedFrom)
{
    Octets first;
    EXPECT_TRUE(first.Append("octets", 6));
    Octets second(std::move(first));
    Octets third;
    third = std::move(second);

    for (Octets* const empty : {&first, &second}) // NOLINT(bugprone-use-after-move)
    {
        EXPECT_EQ(empty->View(), "");
        EXPECT_EQ(empty->Capacity(), 0U);
        EXPECT_TRUE(empty->Append("again", 5));
        EXPECT_EQ(empty->View(), "again");
    }
    EXPECT_EQ(third.View(), "octets");
}
