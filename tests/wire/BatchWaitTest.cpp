// Waits within an open batch: what was gathered before goes out, since their end may depend on it. So do the answers
// that the broker waits for.
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

// The broker sends something in a batch that makes the client answer.
template <typename Use>
void ExpectAnsweredAtOnce(const ScriptedBroker::Script& cause, Use use)
{
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            cause(peer);
            peer.Abandon();
        });
    const WatchedClient client(broker);
    const Amqp::Batch batch(*client.channel);

    use(client);

    EXPECT_TRUE(client.HoldsNothingBack());
    EXPECT_TRUE(client.IsCorked());
}

void CloseConnection(Dialogue& peer, std::uint16_t number)
{
    peer.Send(number, ConnectionClose{.replyCode = 320, .replyText = "CONNECTION_FORCED"});
    peer.Expect(number, ConnectionCloseOk{});
}

void CloseChannel(Dialogue& peer)
{
    peer.Send(1, ChannelClose{.replyCode = 404, .replyText = "NOT_FOUND"});
    peer.Expect(1, ChannelCloseOk{});
}

void RunToTheEnd(const WatchedClient& client)
{
    EXPECT_EQ(client.connection->Run(), false);
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

TEST(BatchWait, HoldsNoAnswerBackToACloseOfTheConnection)
{
    ExpectAnsweredAtOnce([](Dialogue& peer) { CloseConnection(peer, 0); }, &RunToTheEnd);
}

TEST(BatchWait, HoldsNoAnswerBackToACloseInTheMiddleOfAReturn)
{
    ExpectAnsweredAtOnce(
        [](Dialogue& peer)
        {
            peer.Send(1, BasicReturn{.routingKey = "q"});
            CloseChannel(peer);
        },
        [](const WatchedClient& client)
        {
            EXPECT_EQ(client.connection->Run(), true);
            EXPECT_EQ(client.noted.errors.size(), 1U);
        });
    ExpectAnsweredAtOnce(
        [](Dialogue& peer)
        {
            peer.Send(1, BasicReturn{.routingKey = "q"});
            CloseConnection(peer, 1);
        },
        [](const WatchedClient& client) { ErrorOf([&] { client.connection->Run(); }); });
}
