// Waits for a socket: what a wait reports, what ends it, and what does not end it.
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <optional>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "engine/Clock.hpp"
#include "engine/Socket.hpp"
#include "support/Stream.hpp"

namespace
{

using namespace std::chrono_literals;
using Amqp::Clock;
namespace Socket = Amqp::Socket;

using Limit = std::optional<std::chrono::milliseconds>;

// Two ends of a connection; tests wait at the first one.
struct Ends
{
    Ends()
    {
        std::array<int, 2> both{};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, both.data()), 0);
        here = Wire::Descriptor(both[0]);
        there = Wire::Descriptor(both[1]);
    }

    int Here() const { return here.Get(); }

    void Arrive() const { EXPECT_EQ(write(there.Get(), "x", 1), 1); }

    // Fills the socket until it takes nothing more, and returns how many bytes it took.
    std::size_t Fill() const
    {
        const std::string much(1 << 16, 'f');
        const std::string_view piece = much;
        std::size_t filled = 0;
        for (std::ptrdiff_t sent = 1; sent > 0; filled += static_cast<std::size_t>(sent))
        {
            sent = Socket::Send(Here(), {&piece, 1}, false);
        }
        return filled;
    }

    void Take(std::size_t bytes) const
    {
        std::string taken(bytes, ' ');
        EXPECT_EQ(recv(there.Get(), taken.data(), bytes, MSG_WAITALL), static_cast<ssize_t>(bytes));
    }

    Wire::Descriptor here;
    Wire::Descriptor there;
};

constexpr Socket::Readiness wantsInput{.input = true};
constexpr Socket::Readiness wantsRoom{.room = true};
constexpr Socket::Readiness wantsBoth{.input = true, .room = true};

// Returns what the wait reports: input, room, wakeup.
std::string Await(int socket, Socket::Readiness wanted, Limit limit = {}, int wakeup = -1)
{
    const Socket::Readiness ready = Socket::Await(socket, wanted, wakeup, limit);
    return std::string(ready.input ? "input " : "") + (ready.room ? "room " : "") + (ready.wakeup ? "wakeup " : "");
}

std::atomic<int> signals = 0;

} // namespace

TEST(Await, EndsWithNothingWhenItsLimitIsOverAndNotBefore)
{
    const Ends ends;
    const auto start = Clock::now();

    EXPECT_EQ(Await(ends.Here(), wantsInput, 50ms), "");

    EXPECT_GE(Clock::now() - start, 50ms);
}

TEST(Await, OnlyLooksWithALimitOf0OrLess)
{
    const Ends ends;
    const auto start = Clock::now();

    for (const auto limit : {0ms, -1ms, std::chrono::milliseconds::min()})
    {
        EXPECT_EQ(Await(ends.Here(), wantsInput, limit), "");
        EXPECT_EQ(Await(ends.Here(), wantsBoth, limit), "room ");
    }

    EXPECT_LT(Clock::now() - start, 1s);
}

TEST(Await, TellsWhatIsThereOfWhatIsWanted)
{
    const Ends ends;
    ends.Arrive();

    EXPECT_EQ(Await(ends.Here(), wantsInput), "input ");
    EXPECT_EQ(Await(ends.Here(), wantsRoom), "room ");
    EXPECT_EQ(Await(ends.Here(), wantsBoth), "input room ");
}

TEST(Await, WaitsForInputAsLongAsItTakes)
{
    for (const Limit limit : {Limit(), Limit(std::chrono::milliseconds::max())})
    {
        const Ends ends;
        std::thread peer(
            [&]
            {
                std::this_thread::sleep_for(50ms);
                ends.Arrive();
            });

        EXPECT_EQ(Await(ends.Here(), wantsInput, limit), "input ");
        peer.join();
    }
}

TEST(Await, WaitsForRoom)
{
    const Ends ends;
    const std::size_t filled = ends.Fill();
    EXPECT_EQ(Await(ends.Here(), wantsBoth, 10ms), "");
    std::thread peer(
        [&]
        {
            std::this_thread::sleep_for(50ms);
            ends.Take(filled);
        });

    EXPECT_EQ(Await(ends.Here(), wantsBoth), "room ");
    peer.join();
}

TEST(Await, TellsOfInputWhileThereIsNoRoom)
{
    const Ends ends;
    ends.Fill();
    ends.Arrive();

    EXPECT_EQ(Await(ends.Here(), wantsBoth), "input ");
    EXPECT_EQ(Await(ends.Here(), wantsRoom, 10ms), "");
}

TEST(Await, IsEndedByItsSecondDescriptor)
{
    const Ends ends;
    const Ends second;
    EXPECT_EQ(Await(ends.Here(), wantsInput, 10ms, second.Here()), "");
    second.Arrive();

    EXPECT_EQ(Await(ends.Here(), wantsInput, {}, second.Here()), "wakeup ");
    ends.Arrive();
    EXPECT_EQ(Await(ends.Here(), wantsBoth, {}, second.Here()), "input room wakeup ");
    EXPECT_EQ(Await(ends.Here(), wantsInput), "input ");
}

TEST(Await, EndsWithInputWhenTheStreamHasEnded)
{
    Ends ends;
    ends.there.Close();

    EXPECT_EQ(Await(ends.Here(), wantsInput), "input ");
}

// Reading or writing then reports the failure.
TEST(Await, EndsWithWhatIsWantedWhenTheSocketHasFailed)
{
    const Ends shut;
    Socket::Shut(shut.Here());
    int closed = -1;
    {
        const Ends gone;
        closed = gone.Here();
    }

    for (const int socket : {shut.Here(), closed, -1})
    {
        EXPECT_EQ(Await(socket, wantsInput), "input ") << socket;
        EXPECT_EQ(Await(socket, wantsRoom), "room ") << socket;
        EXPECT_EQ(Await(socket, wantsBoth, 0ms), "input room ") << socket;
    }
}

TEST(Await, IsNotEndedBySignals)
{
    struct sigaction counting
    {
    };
    struct sigaction before
    {
    };
    counting.sa_handler = [](int) { ++signals; };
    sigaction(SIGUSR1, &counting, &before);
    const Ends ends;
    const pthread_t waiting = pthread_self();
    std::atomic<bool> over = false;
    std::thread other(
        [&]
        {
            for (; !over; std::this_thread::sleep_for(5ms))
            {
                pthread_kill(waiting, SIGUSR1);
            }
        });
    const auto start = Clock::now();

    EXPECT_EQ(Await(ends.Here(), wantsInput, 100ms), "");

    EXPECT_GE(Clock::now() - start, 100ms);
    over = true;
    other.join();
    sigaction(SIGUSR1, &before, nullptr);
    EXPECT_GT(signals, 0);
}
