// When the library sends heartbeats: half an interval after its last write, whatever it waits for or finds to do, and
// not before. A busy machine delays heartbeats. It never lets more of them out than the time that has passed allows.
#include "LoginOptions.hpp"
#include "Messaging.hpp"

namespace
{

using PulseClock = std::chrono::steady_clock;

constexpr auto pulseInterval = 1s;
constexpr auto halfInterval = 500ms;

// Three heartbeats take 1.5 s. At one in a whole interval they would take 3 s.
constexpr auto mostForThree = 2500ms;

void LogInWithPulse(Dialogue& peer)
{
    peer.Login({.heartbeat = 1});
    peer.OpenChannel(1);
}

// The peer, which watches the client's heartbeats. Its clock begins before the client's.
class Pulse
{
public:
    explicit Pulse(Dialogue& dialogue) : peer(dialogue) {}

    // Sends nothing but heartbeats until the client has sent three.
    void ExpectThree()
    {
        while (peer.Heartbeats() < 3)
        {
            peer.ExpectHeartbeat();
            ExpectNoneTooMany();
            peer.SendHeartbeat();
        }
        EXPECT_LT(PulseClock::now() - begun, mostForThree);
    }

    // Sends deliveries without a pause until the client has sent `count` heartbeats. With a byte of the body in each
    // frame the client takes longer to read than the peer to send, and finds something whenever it looks.
    void ExpectDuringDeliveries(std::size_t count)
    {
        std::string deliveries;
        for (int i = 0; i < 100; ++i)
        {
            deliveries += DeliveryBytes(1, {.consumerTag = "1/1"}, {}, std::string(50, 'b'), /*frameMax*/ 9);
        }
        const auto end = begun + mostForThree;
        while (peer.Heartbeats() < count && PulseClock::now() < end && !testing::Test::HasFailure())
        {
            peer.SendBytes(deliveries);
            peer.ExpectSilence(0ms); // takes what has arrived
            ExpectNoneTooMany();
        }
        EXPECT_GE(peer.Heartbeats(), count);
    }

private:
    void ExpectNoneTooMany() const
    {
        const auto most = (PulseClock::now() - begun) / halfInterval;
        EXPECT_LE(peer.Heartbeats(), static_cast<std::size_t>(most));
    }

    Dialogue& peer;
    const PulseClock::time_point begun = PulseClock::now();
};

// What goes on between opening channel 1 and closing it.
ScriptedBroker::Script WithPulse(std::function<void(Dialogue&, Pulse&)> middle)
{
    return [middle = std::move(middle)](Dialogue& peer)
    {
        Pulse pulse(peer);
        LogInWithPulse(peer);
        middle(peer, pulse);
        peer.CloseChannel(1);
        peer.CloseConnection();
    };
}

// Ends the client's waiting with an event.
ScriptedBroker::Script UntilThree()
{
    return WithPulse(
        [](Dialogue& peer, Pulse& pulse)
        {
            pulse.ExpectThree();
            peer.Send(0, ConnectionBlocked{});
        });
}

struct PulseClient
{
    explicit PulseClient(const ScriptedBroker& broker)
        : connection(LogIn(broker, {.heartbeat = pulseInterval})), channel(OpenChannel(connection))
    {
    }

    std::shared_ptr<Amqp::Connection> connection;
    std::shared_ptr<Amqp::Channel> channel;
};

} // namespace

TEST(Heartbeat, IsSentEachHalfIntervalWhileRunWaits)
{
    ScriptedBroker broker(UntilThree());
    const PulseClient client(broker);

    EXPECT_EQ(client.connection->Run(10s), true);
}

TEST(Heartbeat, IsSentEachHalfIntervalWhileManyStepsWaitBriefly)
{
    ScriptedBroker broker(UntilThree());
    const PulseClient client(broker);

    while (client.connection->Run(10ms) != true)
    {
    }
}

TEST(Heartbeat, IsSentEachHalfIntervalWhileStepsAlwaysFindDeliveries)
{
    ScriptedBroker broker(WithPulse(
        [](Dialogue& peer, Pulse& pulse)
        {
            AcceptConsumer(peer, 1, /*noAck*/ true);
            pulse.ExpectDuringDeliveries(3);
            peer.Deliver(1, {.consumerTag = "1/1"}, {}, "last");
        }));
    broker.Deadline(20s); // a sanitizer takes long over what the sockets hold in the end
    const PulseClient client(broker);
    bool last = false;
    client.channel->Subscribe(
        "q",
        [&](const Amqp::Envelope& envelope)
        {
            last = envelope.ViewBody(0, envelope.Size()) == "last";
            return Amqp::Ack;
        },
        Amqp::Auto, false, false);

    while (!last)
    {
        ASSERT_EQ(client.connection->Run(), true);
    }
}

TEST(Heartbeat, IsSentEachHalfIntervalWhileACallAwaitsItsReply)
{
    ScriptedBroker broker(WithPulse(
        [](Dialogue& peer, Pulse& pulse)
        {
            peer.Expect(1, QueuePurge{.queue = "q"});
            pulse.ExpectThree();
            peer.Send(1, QueuePurgeOk{});
        }));
    const PulseClient client(broker);

    client.channel->PurgeQueue("q");
}

// The client keeps the deliveries in memory, so they begin shortly before the heartbeat is due.
TEST(Heartbeat, IsSentWhileDeliveriesArriveBeforeTheReplyToACall)
{
    ScriptedBroker broker(WithPulse(
        [](Dialogue& peer, Pulse& pulse)
        {
            peer.Expect(1, QueuePurge{.queue = "q"});
            peer.ExpectSilence(halfInterval - 50ms);
            pulse.ExpectDuringDeliveries(1);
            peer.Send(1, QueuePurgeOk{});
        }));
    broker.Deadline(20s); // as above
    const PulseClient client(broker);

    client.channel->PurgeQueue("q");
}

TEST(Heartbeat, IsNeverSentWhenTheClientWantsNone)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            LogInWithPulse(peer);
            peer.ExpectSilence(halfInterval + 100ms);
            peer.Send(0, ConnectionBlocked{});
            peer.Expect(1, QueuePurge{.queue = "q"});
            peer.ExpectSilence(halfInterval + 100ms);
            peer.Send(1, QueuePurgeOk{});
            peer.CloseChannel(1);
            EXPECT_EQ(peer.Heartbeats(), 0U);
            peer.CloseConnection();
        });
    const auto connection = LogIn(broker, {.heartbeat = 0s});
    const auto channel = OpenChannel(connection);

    EXPECT_EQ(connection->Run(), true);
    channel->PurgeQueue("q");
}
