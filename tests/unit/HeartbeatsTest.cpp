// When heartbeats are due. Each test has its own clock.
#include <chrono>

#include <gtest/gtest.h>

#include "engine/Heartbeats.hpp"

namespace
{

using Amqp::Clock;
using Amqp::Heartbeats;
using namespace std::chrono_literals;

constexpr Clock::time_point begin{1000s};

Heartbeats Every(std::chrono::seconds interval)
{
    Heartbeats heartbeats;
    heartbeats.Start(interval, begin);
    return heartbeats;
}

} // namespace

TEST(Heartbeats, AreOnOnlyWithAnInterval)
{
    EXPECT_FALSE(Heartbeats().AreOn());
    EXPECT_FALSE(Every(0s).AreOn());
    EXPECT_TRUE(Every(1s).AreOn());
    EXPECT_TRUE(Every(65535s).AreOn());
}

TEST(Heartbeats, AreDueHalfAnIntervalAfterTheStart)
{
    EXPECT_EQ(Every(10s).NextSend(), begin + 5s);
    EXPECT_EQ(Every(1s).NextSend(), begin + 500ms);
    EXPECT_EQ(Every(65535s).NextSend(), begin + 32767500ms);
}

TEST(Heartbeats, AreDueHalfAnIntervalAfterWhatWasSentLast)
{
    Heartbeats heartbeats = Every(10s);

    heartbeats.Sent(begin + 3s);
    heartbeats.Received(begin + 4s);

    EXPECT_EQ(heartbeats.NextSend(), begin + 8s);
}

TEST(Heartbeats, HaveAPeerLookedAtAfterOneIntervalAndGivenUpAfterTwo)
{
    EXPECT_EQ(Every(10s).NextLook(), begin + 10s);
    EXPECT_EQ(Every(10s).End(), begin + 20s);
}

TEST(Heartbeats, CountAPeersSilenceFromWhatCameLast)
{
    Heartbeats heartbeats = Every(10s);

    heartbeats.Received(begin + 7s);
    heartbeats.Sent(begin + 9s);

    EXPECT_EQ(heartbeats.NextLook(), begin + 17s);
    EXPECT_EQ(heartbeats.End(), begin + 27s);
}

// The library reads the clock before it knows whether bytes have arrived, so an older time may be noted later.
TEST(Heartbeats, ForgetNothingThatCameLater)
{
    Heartbeats heartbeats = Every(10s);
    heartbeats.Received(begin + 7s);

    heartbeats.Received(begin + 5s);
    heartbeats.Received({});

    EXPECT_EQ(heartbeats.NextLook(), begin + 17s);
}

TEST(Heartbeats, BeginAnewWithAStart)
{
    Heartbeats heartbeats = Every(10s);
    heartbeats.Sent(begin + 3s);
    heartbeats.Received(begin + 3s);

    heartbeats.Start(2s, begin + 1s);

    EXPECT_EQ(heartbeats.NextSend(), begin + 2s);
    EXPECT_EQ(heartbeats.End(), begin + 5s);
}
