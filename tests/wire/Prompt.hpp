// How soon the peer receives what the library writes. If the library announces more to follow, the kernel holds bytes
// back for 200 ms. All bytes arrive in the end, so only the time shows whether the kernel held them back.
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

#include "Messaging.hpp"

// The quickest of several tries counts. A busy machine may be slow in some tries, but bytes that the kernel holds back
// are late in every try. They leave at the earliest with the peer's acknowledgement of earlier bytes, which the kernel
// delays by 40 ms.
constexpr int promptTries = 10;
constexpr auto prompt = 30ms;

// Measures the time from a beginning to an arrival, which may be on two threads.
class Arrivals
{
public:
    void Begin()
    {
        const std::lock_guard lock(mutex);
        begun = std::chrono::steady_clock::now();
    }

    void Arrive()
    {
        const std::lock_guard lock(mutex);
        best = std::min(best, std::chrono::steady_clock::now() - begun);
        ++arrived;
        changed.notify_all();
    }

    // For the thread that began: while it waits here, no other operation pushes the bytes.
    [[nodiscard]] bool Await(int count)
    {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, 10s, [&] { return arrived >= count; });
    }

    std::chrono::milliseconds Best() const
    {
        const std::lock_guard lock(mutex);
        return std::chrono::ceil<std::chrono::milliseconds>(best);
    }

private:
    mutable std::mutex mutex;
    std::condition_variable changed;
    std::chrono::steady_clock::time_point begun{};
    std::chrono::steady_clock::duration best = 1h;
    int arrived = 0;
};

// Writes several times, each time after the peer has read what was written before.
inline void ExpectPromptWrites(const std::function<void(Amqp::Channel&)>& write, const ScriptedBroker::Script& read,
                               std::size_t frameMax = 131072)
{
    Arrivals arrivals;
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login({.frameMax = static_cast<std::uint32_t>(frameMax)});
            peer.OpenChannel(1);
            for (int i = 0; i < promptTries; ++i)
            {
                read(peer);
                arrivals.Arrive();
            }
            peer.CloseChannel(1);
            peer.CloseConnection();
        });
    const Client client(broker, static_cast<int>(frameMax));

    for (int i = 1; i <= promptTries; ++i)
    {
        arrivals.Begin();
        write(*client.channel);
        ASSERT_TRUE(arrivals.Await(i));
    }

    EXPECT_LT(arrivals.Best(), prompt);
    EXPECT_TRUE(client.noted.errors.empty());
}

// Several times, the peer sends something to which the client's run loop responds. It then sends the body "end", so
// that only a wait of the loop pushes the last response that counts. The client runs until it receives "end".
inline void ExpectPromptAnswers(const ScriptedBroker::Script& ask, const ScriptedBroker::Script& take, bool noAck,
                                const std::function<Amqp::Acknowledge(Amqp::Channel&)>& handle)
{
    Arrivals arrivals;
    ScriptedBroker broker(OnChannel(
        [&](Dialogue& peer)
        {
            AcceptConsumer(peer, 1, noAck);
            for (int i = 0; i < promptTries; ++i)
            {
                arrivals.Begin();
                ask(peer);
                take(peer);
                arrivals.Arrive();
            }
            peer.Deliver(1, {.consumerTag = "1/1"}, {}, "end");
            if (!noAck)
            {
                peer.Expect(1, BasicAck{});
            }
        }));
    const Client client(broker);
    bool ended = false;
    client.channel->Subscribe(
        "q",
        [&](const Amqp::Envelope& envelope)
        {
            ended = envelope.ViewBody(0, envelope.Size()) == "end";
            return ended ? Amqp::Ack : handle(*client.channel);
        },
        noAck ? Amqp::Auto : Amqp::Explicit, false, false);

    while (!ended)
    {
        ASSERT_EQ(client.connection->Run(), true);
    }

    EXPECT_LT(arrivals.Best(), prompt);
    EXPECT_TRUE(client.noted.errors.empty());
}
