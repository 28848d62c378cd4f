// What counts as a sign of life: a heartbeat that a step reads and finds nothing else, and bytes that nobody has read
// yet, because handlers took long.
#include <atomic>
#include <thread>

#include "LargeTraffic.hpp"
#include "Listening.hpp"

TEST(SignOfLife, IsAHeartbeatThatAShortWaitHasRead)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login({.heartbeat = 1});
            peer.OpenChannel(1);
            AcceptConsumer(peer, 1, /*noAck*/ true);
            std::this_thread::sleep_for(850ms); // less than an interval after the last frame
            peer.SendHeartbeat();
            std::this_thread::sleep_for(1500ms); // over two intervals after that frame, not after the heartbeat
            peer.Deliver(1, {.consumerTag = "1/1"}, {}, "alive");
            peer.CloseChannel(1);
            peer.CloseConnection();
        });
    const auto connection = LogIn(broker, {.heartbeat = 1s});
    const auto channel = OpenChannel(connection);
    Inbox inbox;
    channel->Subscribe("q", inbox.Handler(), Amqp::Auto, false, false);
    const auto end = std::chrono::steady_clock::now() + 5s;

    while (inbox.bodies.empty() && std::chrono::steady_clock::now() < end)
    {
        std::this_thread::sleep_for(50ms);
        connection->Run(1us);
    }

    EXPECT_THAT(inbox.bodies, testing::ElementsAre("alive"));
}

namespace
{

constexpr std::uint64_t backlog = 600; // one read takes them all, but a publish parks only some hundred at once

// Delivers all at once, and then sends heartbeats until the client is done, or until a deadline.
ScriptedBroker::Script DeliveringAndAlive(bool noAck, Event& delivered, const std::atomic<bool>& done)
{
    return [&, noAck](Dialogue& peer)
    {
        peer.Login({.heartbeat = 1});
        peer.OpenChannel(1);
        AcceptConsumer(peer, 1, noAck);
        DeliverNumbers(peer, 1, backlog, 1);
        delivered.Set();
        const auto end = std::chrono::steady_clock::now() + 15s;
        while (!done && std::chrono::steady_clock::now() < end)
        {
            peer.SendHeartbeat();
            std::this_thread::sleep_for(200ms);
        }
        peer.Abandon();
    };
}

constexpr std::size_t publishing = 100; // the handlers that have run before the one that publishes

// Handlers from the number `first` on take long. The last one publishes, more than two intervals after the socket was
// read.
void PublishLate(CountingClient& client, Amqp::AcknowledgeMode mode, std::size_t first, std::chrono::milliseconds pause)
{
    client.channel->Subscribe(
        "q",
        [&client, first, pause](const Amqp::Envelope& envelope)
        {
            const std::size_t number = client.numbers.size();
            if (number >= first && number <= publishing)
            {
                std::this_thread::sleep_for(pause);
            }
            if (number == publishing)
            {
                client.channel->Publish("", "reply", "x", 0, {});
            }
            return client.Handler()(envelope);
        },
        mode, false, false);
}

void ExpectWholeBacklog(CountingClient& client)
{
    for (const auto end = std::chrono::steady_clock::now() + 10s;
         client.numbers.size() < backlog && std::chrono::steady_clock::now() < end;)
    {
        client.connection->Run(1s);
    }
    EXPECT_TRUE(client.noted.errors.empty());
    EXPECT_EQ(client.numbers, NumbersTo(backlog));
}

} // namespace

TEST(SignOfLife, IsWhatWaitsInTheSocketWhileOneHandlerTakesLong)
{
    Event delivered;
    std::atomic<bool> done = false;
    ScriptedBroker broker(DeliveringAndAlive(/*noAck*/ true, delivered, done));
    CountingClient client(broker);
    PublishLate(client, Amqp::Auto, publishing, 2200ms);
    EXPECT_TRUE(delivered.Wait());
    std::this_thread::sleep_for(100ms);

    ExpectWholeBacklog(client);

    done = true;
}

TEST(SignOfLife, IsWhatWaitsInTheSocketWhileManyHandlersTakeLongTogether)
{
    Event delivered;
    std::atomic<bool> done = false;
    ScriptedBroker broker(DeliveringAndAlive(/*noAck*/ false, delivered, done));
    CountingClient client(broker);
    PublishLate(client, Amqp::Explicit, 0, 27ms);
    EXPECT_TRUE(delivered.Wait());
    std::this_thread::sleep_for(100ms);

    ExpectWholeBacklog(client);

    done = true;
}
