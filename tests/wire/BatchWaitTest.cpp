// Waits within an open batch: what was gathered before goes out, since their end may depend on it.
#include <atomic>
#include <thread>

#include "Batches.hpp"
#include "Listening.hpp"

namespace
{

using Clock = std::chrono::steady_clock;

// Fails when nothing ends the gathering, before the client has waited long enough.
void AwaitUncorked(int socket)
{
    const auto end = Clock::now() + 4s;
    while (IsCorked(socket) && Clock::now() < end)
    {
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_FALSE(IsCorked(socket));
    EXPECT_EQ(HeldBack(socket), 0);
}

} // namespace

TEST(BatchWait, HoldsNothingBackWhileRunWaits)
{
    Event running;
    std::atomic<int> socket = -1;
    ScriptedBroker broker(OnConsumer(
        [&](Dialogue& peer)
        {
            EXPECT_TRUE(running.Wait());
            AwaitUncorked(socket);
            ReceiveNumbers(peer);
            peer.Deliver(1, {.consumerTag = "1/1"}, {}, "received");
            peer.Expect(1, BasicAck{});
        }));
    WatchedClient client(broker);
    socket = client.Socket();
    bool corkedInHandler = false;
    client.channel->Subscribe(
        "q",
        [&](const Amqp::Envelope&)
        {
            corkedInHandler = client.IsCorked();
            return Amqp::Ack;
        },
        Amqp::Explicit, false, false);

    const Amqp::Batch batch(*client.channel);
    ASSERT_TRUE(client.PublishUntilHeld());
    client.PublishLast();
    running.Set();
    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_TRUE(corkedInHandler);
    EXPECT_TRUE(client.IsCorked());
}

TEST(BatchWait, HoldsNothingBackWhileACallWaits)
{
    std::atomic<int> socket = -1;
    ScriptedBroker broker(OnChannel(
        [&](Dialogue& peer)
        {
            ReceiveNumbers(peer);
            peer.Expect(1, QueueDeclare{});
            EXPECT_FALSE(IsCorked(socket));
            peer.Send(1, QueueDeclareOk{.queue = "named"});
        }));
    WatchedClient client(broker);
    socket = client.Socket();

    const Amqp::Batch batch(*client.channel);
    ASSERT_TRUE(client.PublishUntilHeld());
    client.PublishLast();
    EXPECT_EQ(client.channel->DeclareQueue(false, false, false), "named");

    EXPECT_TRUE(client.IsCorked());
}

TEST(BatchWait, HoldsNothingBackWhileAChannelIsOpenedAndClosed)
{
    std::atomic<int> socket = -1;
    ScriptedBroker broker(OnChannel(
        [&](Dialogue& peer)
        {
            ReceiveNumbers(peer);
            peer.Expect(2, ChannelOpen{});
            EXPECT_FALSE(IsCorked(socket));
            peer.Send(2, ChannelOpenOk{});
            ReceiveNumbers(peer);
            peer.Expect(2, ChannelClose{});
            EXPECT_FALSE(IsCorked(socket));
            peer.Send(2, ChannelCloseOk{});
        }));
    WatchedClient client(broker);
    socket = client.Socket();

    const Amqp::Batch batch(*client.channel);
    ASSERT_TRUE(client.PublishUntilHeld());
    client.PublishLast();
    auto other = client.NewChannel();
    EXPECT_TRUE(client.IsCorked());

    client.PublishLast();
    other.reset();
    EXPECT_TRUE(client.IsCorked());
}
