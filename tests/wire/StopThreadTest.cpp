// Stop from another thread while the loop works: the one thing that may be done from there.
#include <atomic>
#include <cstddef>
#include <thread>

#include "Messaging.hpp"

namespace
{

constexpr int blocks = 1000;
constexpr int perBlock = 1000;

std::string BlockOfDeliveries()
{
    const std::string one = FrameBytes({methodFrame, 1, Encode(BasicDeliver{.consumerTag = "1/1"})}) +
                            FrameBytes({headerFrame, 1, EncodeHeader({.bodySize = 1, .properties = {}})}) +
                            FrameBytes({bodyFrame, 1, "b"});
    std::string block;
    block.reserve(one.size() * perBlock);
    for (int i = 0; i < perBlock; ++i)
    {
        block += one;
    }
    return block;
}

} // namespace

TEST(StopThread, StopsAMillionStepsNowAndThenAndLosesNone)
{
    ScriptedBroker broker(OnChannel(
        [](Dialogue& peer)
        {
            AcceptConsumer(peer, 1, /*noAck*/ true);
            const std::string block = BlockOfDeliveries();
            for (int i = 0; i < blocks; ++i)
            {
                peer.SendBytes(block);
            }
        }));
    broker.Deadline(60s);
    const Client client(broker);
    std::uint64_t delivered = 0;
    client.channel->Subscribe(
        "q",
        [&](const Amqp::Envelope& envelope)
        {
            delivered += envelope.Size();
            return Amqp::Ack;
        },
        Amqp::Auto, false, false);

    std::atomic<bool> done = false;
    std::atomic<std::size_t> requested = 0;
    std::thread stopper(
        [&]
        {
            while (!done)
            {
                ++requested;
                client.connection->Stop();
                std::this_thread::yield();
            }
        });
    std::size_t stopped = 0;
    std::size_t interrupted = 0; // steps stopped while they waited; the next step then returns false
    std::size_t steps = 0;
    const auto begun = std::chrono::steady_clock::now();
    for (; delivered < std::size_t{blocks} * perBlock; ++steps)
    {
        const std::optional<bool> result = client.connection->Run();
        stopped += result == false ? 1U : 0U;
        interrupted += result.has_value() ? 0U : 1U;
        if (result != true && std::chrono::steady_clock::now() - begun > 60s)
        {
            ADD_FAILURE() << "deliveries are missing";
            break;
        }
    }
    done = true;
    stopper.join();

    EXPECT_EQ(steps, delivered + stopped + interrupted); // a stop loses no delivery
    EXPECT_GT(stopped, 0U);
    EXPECT_LE(stopped, requested); // each stops one step at most
    EXPECT_LE(interrupted, stopped);
}
