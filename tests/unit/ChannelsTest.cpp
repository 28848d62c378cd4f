// The registry of a connection's channels: their numbers, and which channel receives which reports. The registry keeps
// addresses and uses no channel, so the tests need no real channels.
#include <cstddef>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "connection/Channels.hpp"

namespace
{

using Amqp::Channels;

class ChannelRegistry : public testing::Test
{
protected:
    Amqp::Channel& At(std::size_t index) { return *reinterpret_cast<Amqp::Channel*>(places + index); }

    Channels channels;
    Amqp::Channel& one = At(0);
    Amqp::Channel& other = At(alignof(Amqp::Channel));

private:
    alignas(Amqp::Channel) std::byte places[2 * alignof(Amqp::Channel)];
};

} // namespace

TEST_F(ChannelRegistry, GivesNumbersUpTo65535AndThenFrom0)
{
    for (std::uint32_t number = 1; number <= 65535; ++number)
    {
        ASSERT_EQ(channels.NextNumber(), number);
    }
    EXPECT_EQ(channels.NextNumber(), 0);
    EXPECT_EQ(channels.NextNumber(), 1);
}

TEST_F(ChannelRegistry, ReusesNoNumberOfAChannelThatIsGone)
{
    EXPECT_EQ(channels.NextNumber(), 1);
    channels.Add(1, one);
    channels.Close(1);
    channels.Drop(1);

    EXPECT_EQ(channels.NextNumber(), 2);
}

TEST_F(ChannelRegistry, KnowsNoChannelOfANumberThatWasNeverAdded)
{
    channels.Add(3, one);

    for (const std::uint16_t number : std::vector<std::uint16_t>{0, 2, 4, 65535})
    {
        EXPECT_EQ(channels.Find(number), nullptr);
        EXPECT_FALSE(channels.IsClosed(number));
        channels.Drop(number);
    }
    EXPECT_EQ(channels.Find(3), &one);
}

TEST_F(ChannelRegistry, FindsAnOpenChannelByItsNumberAlone)
{
    channels.Add(1, one);
    channels.Add(65535, other);

    EXPECT_EQ(channels.Find(1), &one);
    EXPECT_EQ(channels.Find(65535), &other);
    EXPECT_FALSE(channels.IsClosed(1));
}

TEST_F(ChannelRegistry, StillFindsAClosedChannel)
{
    channels.Add(1, one);
    channels.Add(2, other);

    channels.Close(1);

    EXPECT_TRUE(channels.IsClosed(1));
    EXPECT_EQ(channels.Find(1), &one);
    EXPECT_FALSE(channels.IsClosed(2));
}

TEST_F(ChannelRegistry, FindsNoDroppedChannelAndCallsItNotClosed)
{
    channels.Add(1, one);
    channels.Add(2, other);

    channels.Drop(1);

    EXPECT_EQ(channels.Find(1), nullptr);
    EXPECT_FALSE(channels.IsClosed(1)); // the channel may be open at the broker
    EXPECT_EQ(channels.Find(2), &other);
}

TEST_F(ChannelRegistry, KeepsAClosedChannelClosedWhenItIsDropped)
{
    channels.Add(1, one);
    channels.Close(1);

    channels.Drop(1);

    EXPECT_TRUE(channels.IsClosed(1));
    EXPECT_EQ(channels.Find(1), nullptr);
}

TEST_F(ChannelRegistry, ClosesADroppedChannel)
{
    channels.Add(1, one);
    channels.Drop(1);

    channels.Close(1);

    EXPECT_TRUE(channels.IsClosed(1));
}

TEST_F(ChannelRegistry, DropsAllChannelsAndKeepsTheClosedOnesClosed)
{
    channels.Add(1, one);
    channels.Add(2, other);
    channels.Close(2);

    channels.DropAll();

    EXPECT_EQ(channels.Find(1), nullptr);
    EXPECT_EQ(channels.Find(2), nullptr);
    EXPECT_FALSE(channels.IsClosed(1));
    EXPECT_TRUE(channels.IsClosed(2));
}

// After the last number, numbers wrap around. If the broker opens such a number again, no other channel has it there.
TEST_F(ChannelRegistry, GivesAClosedNumberToTheNextChannelThatOpensIt)
{
    channels.Add(1, one);
    channels.Close(1);
    channels.Drop(1);

    channels.Add(1, other);

    EXPECT_FALSE(channels.IsClosed(1));
    EXPECT_EQ(channels.Find(1), &other);
}

TEST_F(ChannelRegistry, LeavesANumberToTheChannelThatHasIt)
{
    channels.Add(1, one);

    channels.Add(1, other);

    EXPECT_EQ(channels.Find(1), &one);
}
