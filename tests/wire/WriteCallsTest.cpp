// How many system calls a message takes when the socket has room, and what a client reads if it only publishes.
#include <string>
#include <thread>

#include "ClientSocket.hpp"
#include "Listening.hpp"
#include "LoginOptions.hpp"
#include "Messaging.hpp"
#include "OverTls.hpp"
#include "Transport.hpp"
#include "engine/MessageFrames.hpp"

namespace
{

using namespace Transport;

using Counts = std::vector<std::size_t>;

constexpr std::size_t fullBody = smallestFrameMax - 8;
constexpr std::size_t mostFrames = Amqp::MessageFrames::mostFrames;

Message OfFrames(std::size_t frames)
{
    return {.body = std::string(frames * fullBody, 'b')};
}

} // namespace

TEST(WriteCalls, AreOneForAMessageOfAnyShape)
{
    std::vector<Message> messages = MessagesOfAllShapes();
    messages.push_back({.body = "body"});
    messages.back().envelope.Headers().Insert("long", std::string(fullBody - 64, 'h'));

    for (const Way way : everyWay)
    {
        EXPECT_EQ(Publish(messages, way).writes, Counts(messages.size(), 1)) << "way " << static_cast<int>(way);
    }
}

TEST(WriteCalls, AreOneForEvery64FramesOfALargeMessage)
{
    for (const Way way : {Way::OverTcp, Way::InABatch})
    {
        EXPECT_EQ(Publish({OfFrames(mostFrames)}, way).writes, Counts{1});
        EXPECT_EQ(Publish({OfFrames(mostFrames + 1)}, way).writes, Counts{2});
        EXPECT_EQ(Publish({OfFrames(2 * mostFrames)}, way).writes, Counts{2});
    }
}

TEST(WriteCalls, AreOneForEveryRecordOfALargeMessageOverTls)
{
    constexpr std::size_t record = 16384;
    const std::vector<Message> messages = {OfFrames(mostFrames)};
    std::vector<Frame> frames = FramesOfRabbitMqC(messages);
    frames.pop_back();

    EXPECT_EQ(Publish(messages, Way::OverTls).writes, Counts{(FrameBytes(frames).size() + record - 1) / record});
}

// The kernel then sends the verdicts of deliveries that came together in one segment.
TEST(WriteCalls, AnnounceMoreWithAVerdictUnlessItsDeliveryIsTheLastThatWasRead)
{
    ScriptedBroker broker(OnConsumer(
        [](Dialogue& peer)
        {
            peer.SendBytes(DeliveryBytes(1, {.consumerTag = "1/1", .deliveryTag = 1}, {}, "first") +
                           DeliveryBytes(1, {.consumerTag = "1/1", .deliveryTag = 2}, {}, "last"));
            peer.Expect(1, BasicAck{.deliveryTag = 1});
            peer.Expect(1, BasicAck{.deliveryTag = 2});
        }));
    const Client client(broker);
    client.channel->Subscribe("q", Ignore, Amqp::Explicit, false, false);
    announced.clear();

    EXPECT_EQ(client.connection->Run(), true);
    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(announced, testing::ElementsAre(true, false));
}

// Otherwise the heartbeats would fill the socket, and the peer's next heartbeats would find no room.
TEST(OnlyPublishing, ReadsAllHeartbeatsThatHaveComeOnceInAnInterval)
{
    for (const bool tls : {false, true})
    {
        constexpr int many = 100;
        Event open; // afterwards the client reads only when it publishes
        ScriptedBroker broker(
            [&](Dialogue& peer)
            {
                peer.Login(LoginOver(tls, {.heartbeat = 1}));
                peer.OpenChannel(1);
                EXPECT_TRUE(open.Wait());
                for (int heartbeat = 0; heartbeat < many; ++heartbeat)
                {
                    peer.SendHeartbeat();
                }
                peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties(), "body");
                peer.CloseChannel(1);
                peer.CloseConnection();
            },
            {.tls = tls});
        const auto channel = OpenChannel(LogIn(broker, {.heartbeat = 1s}, tls));
        open.Set();
        const int socket = SocketTo(broker.Port());
        const int size = tls ? 8 + 22 : 8; // the bytes of a heartbeat and, over TLS, of its record
        const auto start = std::chrono::steady_clock::now();
        while (Unread(socket) < many * size && std::chrono::steady_clock::now() - start < 1s)
        {
            std::this_thread::sleep_for(1ms);
        }
        EXPECT_GE(Unread(socket), many * size);
        std::this_thread::sleep_for(1100ms);

        channel->Publish("", "q", "body", 0, {});

        EXPECT_EQ(Unread(socket), 0);
    }
}

// If the socket has no room for a heartbeat, the library omits the heartbeat. Over TLS its record may already have
// begun, and must be finished before anything else is written.
TEST(Heartbeat, ThatFindsNoRoomLeavesTheStreamWhole)
{
    for (const bool tls : {false, true})
    {
        ScriptedBroker broker(
            [tls](Dialogue& peer)
            {
                peer.Login(LoginOver(tls, {.heartbeat = 1}));
                peer.OpenChannel(1);
                AcceptConsumer(peer, 1, /*noAck*/ true);
                peer.Deliver(1, {.consumerTag = "1/1", .deliveryTag = 1}, {}, "delivered");
                peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties(), "body");
                peer.CloseChannel(1);
                peer.CloseConnection();
            },
            {.tls = tls});
        const auto connection = LogIn(broker, {.heartbeat = 1s}, tls);
        const auto channel = OpenChannel(connection);
        channel->Subscribe("q", Ignore, Amqp::Auto, false, false);
        std::this_thread::sleep_for(600ms); // a heartbeat is due

        refusals = 1;
        EXPECT_EQ(connection->Run(), true);
        EXPECT_EQ(refusals, 0U);
        channel->Publish("", "q", "body", 0, {});
    }
}

// The peer is not silent: the client was stopped while it read.
TEST(SlowReading, IsNotTakenForThePeersSilence)
{
    const std::string body(1 << 20, 'd');
    Event sent;
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login({.heartbeat = 1});
            peer.OpenChannel(1);
            AcceptConsumer(peer, 1, /*noAck*/ true);
            peer.Deliver(1, {.consumerTag = "1/1", .deliveryTag = 1}, {}, body);
            sent.Set();
            peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties(), "body");
            peer.CloseChannel(1);
            peer.CloseConnection();
        });
    const auto connection = LogIn(broker, {.heartbeat = 1s});
    const auto channel = OpenChannel(connection);
    channel->Subscribe("q", Ignore, Amqp::Auto, false, false);
    EXPECT_TRUE(sent.Wait());
    std::this_thread::sleep_for(1100ms); // the next publish reads what has arrived

    delay = 2100ms;
    channel->Publish("", "q", "body", 0, {});

    EXPECT_EQ(delay, 0ms);
    EXPECT_EQ(connection->Run(), true);
}
