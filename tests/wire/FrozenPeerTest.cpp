// The heartbeat interval is a second. If a peer neither reads nor writes for two intervals, the connection fails, even
// if unread input crowds the socket. The library sends a verdict, however long the handler took.
#include <thread>

#include "FullSocket.hpp"
#include "LargeTraffic.hpp"
#include "Listening.hpp"
#include "values/RabbitMq.hpp"

namespace
{

using FrozenClock = std::chrono::steady_clock;

constexpr std::uint64_t unreadDeliveries = 8; // more than half of what the client's socket takes, but not all
constexpr std::size_t unreadSize = 6144;

auto IsGivenUp()
{
    return IsError(Amqp::ErrorCode::Library, -AMQP_STATUS_HEARTBEAT_TIMEOUT,
                   amqp_error_string2(AMQP_STATUS_HEARTBEAT_TIMEOUT));
}

// A client whose socket keeps little memory for input, however fast the client reads.
struct FrozenPeersClient : CountingClient
{
    explicit FrozenPeersClient(const ScriptedBroker& broker) : CountingClient(broker), socket(SocketTo(broker.Port()))
    {
        const int size = 32768; // the kernel doubles it
        EXPECT_EQ(setsockopt(socket, SOL_SOCKET, SO_RCVBUF, &size, sizeof size), 0);
    }

    const int socket;
};

// The peer delivers one message, and the others once the client wants them. Then it does nothing until the client's
// connection has failed, or until a deadline.
struct FrozenPeer : testing::Test
{
    ScriptedBroker::Script Freezing(bool noAck)
    {
        return [this, noAck](Dialogue& peer)
        {
            peer.Login({.heartbeat = 1});
            peer.OpenChannel(1);
            AcceptConsumer(peer, 1, noAck);
            DeliverNumbers(peer, 1, 1, unreadSize);
            EXPECT_TRUE(othersWanted.Wait());
            DeliverNumbers(peer, 2, unreadDeliveries, unreadSize);
            EXPECT_TRUE(givenUp.Wait()) << "not given up";
            peer.Abandon();
        };
    }

    // Runs the loop until it throws an error, and returns the error.
    static Amqp::ErrorCode RunToItsEnd(const CountingClient& client)
    {
        return ErrorOf(
            [&]
            {
                for (const auto end = FrozenClock::now() + 10s; FrozenClock::now() < end;)
                {
                    client.connection->Run();
                }
            });
    }

    Event othersWanted;
    Event givenUp;
};

} // namespace

TEST_F(FrozenPeer, IsGivenUpByAPublishWhileUnreadInputCrowdsTheSocket)
{
    ScriptedBroker broker(Freezing(/*noAck*/ true));
    FrozenPeersClient client(broker);
    client.channel->Subscribe("q", client.Handler(), Amqp::Auto, false, false);
    othersWanted.Set();
    EXPECT_TRUE(AwaitCrowdedInput(client.socket));
    const std::string body(16 * mebibyte, 'b');
    const auto start = FrozenClock::now();

    client.channel->Publish("", "q", body, 0, {});
    const auto taken = FrozenClock::now() - start;

    EXPECT_THAT(client.noted.errors, testing::ElementsAre(IsGivenUp()));
    EXPECT_GT(taken, 1s);
    EXPECT_LT(taken, 4s);
    EXPECT_THAT(RunToItsEnd(client), IsGivenUp());
    givenUp.Set();
    EXPECT_EQ(client.numbers, NumbersTo(unreadDeliveries));
}

TEST_F(FrozenPeer, IsGivenUpByAnAcknowledgementWhileUnreadInputCrowdsTheSocket)
{
    ScriptedBroker broker(Freezing(/*noAck*/ false));
    FrozenPeersClient client(broker);
    client.channel->Subscribe(
        "q",
        [&](const Amqp::Envelope& envelope)
        {
            if (client.numbers.empty())
            {
                othersWanted.Set();
                EXPECT_TRUE(AwaitCrowdedInput(client.socket));
            }
            return client.Handler()(envelope);
        },
        Amqp::Explicit, false, false);
    LeaveNoRoom(*client.channel, client.socket);
    const auto start = FrozenClock::now();

    const Amqp::ErrorCode error = RunToItsEnd(client);
    const auto taken = FrozenClock::now() - start;
    givenUp.Set();

    EXPECT_THAT(error, IsGivenUp());
    EXPECT_GT(taken, 1s);
    EXPECT_LT(taken, 4s);
    EXPECT_EQ(client.numbers, NumbersTo(unreadDeliveries));
    EXPECT_TRUE(client.noted.errors.empty());
}

// The first read takes all deliveries, but a wait for room parks only some hundred of them at once.
TEST(FrozenPeersDeliveries, AreAllHandledAfterAPublishHasGivenThePeerUp)
{
    constexpr std::uint64_t many = 600;
    Event delivered;
    Event givenUp;
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login({.heartbeat = 1});
            peer.OpenChannel(1);
            AcceptConsumer(peer, 1, /*noAck*/ true);
            DeliverNumbers(peer, 1, many, 1);
            delivered.Set();
            EXPECT_TRUE(givenUp.Wait());
            peer.Abandon();
        });
    CountingClient client(broker);
    client.channel->Subscribe("q", client.Handler(), Amqp::Auto, false, false);
    EXPECT_TRUE(delivered.Wait());

    client.channel->Publish("", "q", std::string(16 * mebibyte, 'b'), 0, {});

    EXPECT_THAT(client.noted.errors, testing::ElementsAre(IsGivenUp()));
    EXPECT_THAT(FrozenPeer::RunToItsEnd(client), IsGivenUp());
    givenUp.Set();
    EXPECT_EQ(client.numbers, NumbersTo(many));
}

// The socket has room for the verdict, so the library can send it without waiting for the silent peer.
TEST(SlowHandler, GetsItsVerdictSentWhenNothingArrivedForTwoHeartbeatIntervals)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login({.heartbeat = 1});
            peer.OpenChannel(1);
            AcceptConsumer(peer);
            DeliverNumbers(peer, 1, 1, 100);
            peer.Expect(1, BasicAck{.deliveryTag = 1});
            peer.Abandon();
        });
    CountingClient client(broker);
    client.channel->Subscribe(
        "q",
        [&](const Amqp::Envelope& envelope)
        {
            std::this_thread::sleep_for(2200ms);
            return client.Handler()(envelope);
        },
        Amqp::Explicit, false, false);

    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_EQ(client.numbers, NumbersTo(1));
    EXPECT_TRUE(client.noted.errors.empty());
}
