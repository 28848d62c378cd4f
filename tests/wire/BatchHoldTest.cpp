// What an open batch holds back, and when it goes out: seen on the socket, since the kernel gives anything up after a
// fifth of a second.
#include <stdexcept>
#include <thread>

#include "Batches.hpp"
#include "Listening.hpp"

namespace
{

using Clock = std::chrono::steady_clock;

constexpr int rounds = 20;    // of what may go wrong on a busy machine
constexpr int attempts = 500; // at what goes wrong whenever the thread is interrupted

// Sleeping may take longer than a millisecond.
void SpinFor(std::chrono::microseconds duration)
{
    for (const auto end = Clock::now() + duration; Clock::now() < end;)
    {
    }
}

} // namespace

TEST(BatchHold, KeepsAMessageFromThePeerUntilItEnds)
{
    ScriptedBroker broker(OnChannel(&ReceiveNumbers));
    WatchedClient client(broker);
    bool held = false;

    for (int round = 0; round < rounds && !held; ++round)
    {
        {
            const Amqp::Batch batch(*client.channel);
            ASSERT_TRUE(client.PublishUntilHeld());
            std::this_thread::sleep_for(50ms);
            held = client.HeldBack() > 0;
        }
        EXPECT_TRUE(client.HoldsNothingBack());
        EXPECT_FALSE(client.IsCorked());
    }

    EXPECT_TRUE(held);
    client.PublishLast();
    EXPECT_TRUE(client.HoldsNothingBack());
}

TEST(BatchHold, EndsWhenAnExceptionLeavesTheScope)
{
    ScriptedBroker broker(OnChannel(&ReceiveNumbers));
    WatchedClient client(broker);

    EXPECT_THROW(
        {
            const Amqp::Batch batch(*client.channel);
            ASSERT_TRUE(client.PublishUntilHeld());
            throw std::logic_error("of the application");
        },
        std::logic_error);

    EXPECT_TRUE(client.HoldsNothingBack());
    EXPECT_FALSE(client.IsCorked());
    client.PublishLast();
}

TEST(BatchHold, EndsWithTheOutermost)
{
    ScriptedBroker broker(OnChannel(&ReceiveNumbers));
    WatchedClient client(broker);

    {
        const Amqp::Batch outer(*client.channel);
        {
            const Amqp::Batch inner(*client.channel);
            EXPECT_TRUE(inner.Gathers());
        }
        EXPECT_TRUE(client.IsCorked());
        EXPECT_TRUE(client.PublishUntilHeld());
        EXPECT_TRUE(outer.Gathers());
    }

    EXPECT_TRUE(client.HoldsNothingBack());
    EXPECT_FALSE(client.IsCorked());
    client.PublishLast();
}

TEST(BatchHold, SendsAMessageThatComesMoreThanAMillisecondAfterTheOneBefore)
{
    ScriptedBroker broker(OnChannel(&ReceiveNumbers));
    WatchedClient client(broker);
    const Amqp::Batch batch(*client.channel);

    for (int i = 0; i < rounds; ++i)
    {
        std::this_thread::sleep_for(1100us);
        client.Publish();
        EXPECT_TRUE(client.HoldsNothingBack());
    }

    client.PublishLast();
}

TEST(BatchHold, NeverKeeps256Messages)
{
    ScriptedBroker broker(OnChannel(&ReceiveNumbers));
    WatchedClient client(broker);

    {
        const Amqp::Batch batch(*client.channel);
        ASSERT_TRUE(client.PublishUntilHeld());
        const int message = client.HeldBack();
        for (int i = 0; i < 400; ++i)
        {
            client.Publish();
            ASSERT_LT(client.HeldBack(), 256 * message);
        }
    }

    client.PublishLast();
}

TEST(BatchHold, SendsWhatHasWaitedFor2Milliseconds)
{
    bool late = false;

    for (int attempt = 0; attempt < attempts && !late; ++attempt)
    {
        ScriptedBroker broker(OnChannel(&ReceiveNumbers));
        WatchedClient client(broker);
        const Amqp::Batch batch(*client.channel);
        ASSERT_TRUE(client.PublishUntilHeld());
        const auto start = Clock::now();
        while (!late && client.HeldBack() > 0)
        {
            SpinFor(50us);
            late = Clock::now() - start >= 2ms;
            client.Publish();
        }
        EXPECT_TRUE(client.HoldsNothingBack());
        client.PublishLast();
    }

    EXPECT_TRUE(late); // else a gap has sent them, each time
}

// More than a segment: it is the rest of it that would be held back.
TEST(BatchHold, SendsABodyOf64KiBWithoutARest)
{
    ScriptedBroker broker(OnChannel(
        [](Dialogue& peer)
        {
            while (ReceiveBody(peer) != "last")
            {
            }
        }));
    const WatchedClient client(broker);
    const std::string body(65536, 'b');
    bool sent = false;

    for (int round = 0; round < rounds && !sent; ++round)
    {
        const Amqp::Batch batch(*client.channel);
        client.channel->Publish("", "q", body, 0, {});
        sent = client.HoldsNothingBack();
    }

    EXPECT_TRUE(sent);
    client.PublishLast();
}

TEST(BatchHold, SendsABodyThatFillsItsLastFrame)
{
    constexpr int frameMax = 4096;
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login({.frameMax = frameMax});
            peer.OpenChannel(1);
            for (int i = 0; i < 2; ++i)
            {
                EXPECT_EQ(ReceiveBody(peer), std::string(frameMax - 8, 'b'));
            }
            peer.CloseChannel(1);
            peer.CloseConnection();
        });
    const WatchedClient client(broker, frameMax);
    const std::string body(frameMax - 8, 'b');

    {
        const Amqp::Batch batch(*client.channel);
        std::this_thread::sleep_for(1100us);
        client.channel->Publish("", "q", body, 0, {});
        EXPECT_TRUE(client.HoldsNothingBack());
        client.channel->Publish("", "q", body, 0, {});
    }

    EXPECT_TRUE(client.HoldsNothingBack());
}

TEST(BatchHold, LetsTheKernelGiveUpWhatIsLeft)
{
    Event received;
    ScriptedBroker broker(OnChannel(
        [&](Dialogue& peer)
        {
            ReceiveNumbers(peer);
            received.Set();
        }));
    WatchedClient client(broker);

    const Amqp::Batch batch(*client.channel);
    ASSERT_TRUE(client.PublishUntilHeld());
    client.PublishLast();

    EXPECT_TRUE(received.Wait());
    EXPECT_TRUE(client.IsCorked());
}
