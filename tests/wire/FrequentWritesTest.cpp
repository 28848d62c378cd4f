// What the library writes counts as a heartbeat: none is due while it writes more often than heartbeats would go out.
#include "LoginOptions.hpp"
#include "Messaging.hpp"

namespace
{

using WriteClock = std::chrono::steady_clock;

// A client that writes something several times in half an interval, and a peer that counts the heartbeats in between.
class FrequentWrites : public testing::Test
{
protected:
    static constexpr int writes = 8;
    static constexpr auto pause = 150ms; // between two
    static constexpr auto dueAfter = 500ms;

    // `answer` is what the peer does about each write.
    ScriptedBroker::Script Counting(ScriptedBroker::Script answer)
    {
        return [this, answer = std::move(answer)](Dialogue& peer)
        {
            peer.Login({.heartbeat = 1});
            peer.OpenChannel(1);
            for (int i = 0; i < writes; ++i)
            {
                answer(peer);
                peer.SendHeartbeat();
            }
            peer.Expect(1, ChannelClose{});
            heartbeats = peer.Heartbeats();
            peer.Send(1, ChannelCloseOk{});
            peer.CloseConnection();
        };
    }

    // The client is about to write. Heartbeats were due only if a busy machine has stopped it for half an interval.
    void Writing()
    {
        const auto now = WriteClock::now();
        due += static_cast<std::size_t>((now - latest) / dueAfter);
        latest = now;
    }

    void Connect(const ScriptedBroker& broker)
    {
        connection = LogIn(broker, {.heartbeat = 1s});
        channel = OpenChannel(connection);
    }

    void WriteOften(const std::function<void()>& write)
    {
        for (int i = 0; i < writes; ++i)
        {
            Writing();
            write();
            EXPECT_EQ(connection->Run(pause), std::nullopt);
        }
    }

    void CloseAndExpectNoHeartbeats(ScriptedBroker& broker)
    {
        Writing();
        channel.reset();
        connection.reset();
        broker.Finish();
        EXPECT_LE(heartbeats, due);
    }

    std::shared_ptr<Amqp::Connection> connection;
    std::shared_ptr<Amqp::Channel> channel;

private:
    std::size_t heartbeats = 0;
    std::size_t due = 0;
    WriteClock::time_point latest = WriteClock::now();
};

} // namespace

TEST_F(FrequentWrites, OfMessagesLeaveNoHeartbeatDue)
{
    ScriptedBroker broker(
        Counting([](Dialogue& peer) { peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties(), "body"); }));
    Connect(broker);

    WriteOften([this] { channel->Publish("", "q", "body", 0, {}); });

    CloseAndExpectNoHeartbeats(broker);
}

TEST_F(FrequentWrites, OfCallsLeaveNoHeartbeatDue)
{
    ScriptedBroker broker(Counting(
        [](Dialogue& peer)
        {
            peer.Expect(1, QueuePurge{.queue = "q"});
            peer.Send(1, QueuePurgeOk{});
        }));
    Connect(broker);

    WriteOften([this] { channel->PurgeQueue("q"); });

    CloseAndExpectNoHeartbeats(broker);
}

TEST_F(FrequentWrites, OfAcknowledgementsLeaveNoHeartbeatDue)
{
    ScriptedBroker broker(Counting(
        [tag = std::uint64_t{0}](Dialogue& peer) mutable
        {
            if (++tag == 1)
            {
                AcceptConsumer(peer);
            }
            peer.ExpectSilence(pause);
            peer.Deliver(1, {.consumerTag = "1/1", .deliveryTag = tag}, {}, "body");
            peer.Expect(1, BasicAck{.deliveryTag = tag});
        }));
    Connect(broker);
    channel->Subscribe(
        "q",
        [this](const Amqp::Envelope&)
        {
            Writing();
            return Amqp::Ack;
        },
        Amqp::Explicit, false, false);

    for (int i = 0; i < writes; ++i)
    {
        EXPECT_EQ(connection->Run(), true);
    }

    CloseAndExpectNoHeartbeats(broker);
}
