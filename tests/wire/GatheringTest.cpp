// When what was gathered goes out, to the message and to the octet, seen on a socket of rabbitmq-c's own.
#include "engine/Gathering.hpp"

#include <chrono>
#include <functional>
#include <thread>

#include <gtest/gtest.h>

#include <sys/socket.h>

#include "ClientSocket.hpp"
#include "support/Stream.hpp"

namespace
{

using Amqp::Gathering;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr int tries = 100;

class GatheringOn : public testing::Test
{
protected:
    GatheringOn() : state(amqp_new_connection())
    {
        amqp_socket_t* const socket = amqp_tcp_socket_new(state);
        EXPECT_EQ(amqp_socket_open(socket, "127.0.0.1", listener.Port()), AMQP_STATUS_OK);
        gathering.Start(state);
    }
    ~GatheringOn() override { amqp_destroy_connection(state); }
    GatheringOn(const GatheringOn&) = delete;
    GatheringOn& operator=(const GatheringOn&) = delete;

    int Socket() const { return amqp_get_sockfd(state); }

    // A message of which one octet is really written, so that it can be seen whether it was sent.
    void Write(std::size_t bytes)
    {
        EXPECT_EQ(send(Socket(), "m", 1, MSG_NOSIGNAL), 1);
        gathering.Wrote(bytes);
    }

    // Begins, writes as told, and gives whether everything was held back. A thread that is interrupted for long enough
    // breaks a gap or a wait instead, so it is tried again.
    bool Holds(const std::function<void()>& write)
    {
        for (int attempt = 0; attempt < tries; ++attempt)
        {
            gathering.Begin(true);
            const int before = HeldBack(Socket());
            write();
            if (before == 0 && HeldBack(Socket()) > 0)
            {
                return true;
            }
            gathering.End();
        }
        return false;
    }

    Wire::Listener listener;
    amqp_connection_state_t state;
    Gathering gathering;
};

} // namespace

TEST_F(GatheringOn, HoldsMessagesBackFromItsBeginningToItsEnd)
{
    ASSERT_TRUE(Holds([this] { Write(1); }));
    EXPECT_TRUE(gathering.IsOn());

    gathering.End();

    EXPECT_EQ(HeldBack(Socket()), 0);
    EXPECT_FALSE(IsCorked(Socket()));
    EXPECT_FALSE(gathering.IsOn());
}

TEST_F(GatheringOn, SendsTheMessageThatMakesIt256)
{
    const auto write255 = [this]
    {
        Write(1);
        for (int i = 1; i < 255; ++i)
        {
            gathering.Wrote(1);
        }
    };
    ASSERT_TRUE(Holds(write255));

    gathering.Wrote(1);

    EXPECT_EQ(HeldBack(Socket()), 0);
    EXPECT_TRUE(IsCorked(Socket()));
}

TEST_F(GatheringOn, SendsTheMessageThatMakesIt64KiB)
{
    ASSERT_TRUE(Holds([this] { Write(65535); }));

    gathering.Wrote(1);

    EXPECT_EQ(HeldBack(Socket()), 0);
    EXPECT_TRUE(IsCorked(Socket()));
}

TEST_F(GatheringOn, CountsFromZeroAfterItHasSent)
{
    const auto writeTwice = [this]
    {
        Write(65536);
        EXPECT_EQ(HeldBack(Socket()), 0);
        Write(65535);
    };

    EXPECT_TRUE(Holds(writeTwice));
}

TEST_F(GatheringOn, SendsWhatHasWaitedFor2Milliseconds)
{
    ASSERT_TRUE(Holds([this] { Write(1); }));

    // A dense row, since a gap would send it, too; without sleeping, which may take long.
    const auto start = Clock::now();
    for (auto next = start; next - start <= 2ms; next += 50us)
    {
        while (Clock::now() < next)
        {
        }
        gathering.Wrote(0);
    }

    EXPECT_EQ(HeldBack(Socket()), 0);
}

TEST_F(GatheringOn, SendsAMessageThatComesMoreThanAMillisecondAfterTheOneBefore)
{
    ASSERT_TRUE(Holds([this] { Write(1); }));
    std::this_thread::sleep_for(1100us);

    Write(1);

    EXPECT_EQ(HeldBack(Socket()), 0);
    EXPECT_TRUE(IsCorked(Socket()));
}

TEST_F(GatheringOn, HoldsNothingBackDuringAPause)
{
    ASSERT_TRUE(Holds([this] { Write(1); }));

    {
        const Gathering::Pause pause(gathering);
        EXPECT_EQ(HeldBack(Socket()), 0);
        EXPECT_FALSE(IsCorked(Socket()));
    }

    EXPECT_TRUE(IsCorked(Socket()));
}

TEST_F(GatheringOn, CountsFromZeroAfterAPause)
{
    const auto pauseBetween = [this]
    {
        Write(65535);
        const bool waits = HeldBack(Socket()) > 0;
        {
            const Gathering::Pause pause(gathering);
        }
        if (waits)
        {
            Write(65535);
        }
    };

    EXPECT_TRUE(Holds(pauseBetween));
}

TEST_F(GatheringOn, EndsWithTheOutermost)
{
    EXPECT_TRUE(gathering.Begin(true));
    EXPECT_TRUE(gathering.Begin(true));

    gathering.End();
    EXPECT_TRUE(IsCorked(Socket()));
    gathering.End();
    EXPECT_FALSE(IsCorked(Socket()));
}

TEST_F(GatheringOn, MayEndAndBeginDuringAPause)
{
    gathering.Begin(true);
    {
        const Gathering::Pause pause(gathering);
        gathering.End();
    }
    EXPECT_FALSE(IsCorked(Socket()));

    {
        const Gathering::Pause pause(gathering);
        gathering.Begin(true);
    }
    EXPECT_TRUE(IsCorked(Socket()));
}

TEST_F(GatheringOn, DoesNothingWithoutASocket)
{
    Gathering none;

    EXPECT_FALSE(none.Begin(true));
    EXPECT_FALSE(none.IsOn());
    none.End();
}

TEST_F(GatheringOn, DoesNothingOnAConnectionThatIsNotUsable)
{
    EXPECT_FALSE(gathering.Begin(false));

    EXPECT_FALSE(gathering.IsOn());
    EXPECT_FALSE(IsCorked(Socket()));
    gathering.End();
}
