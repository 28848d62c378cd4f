// The peer sends something and resets the TCP connection, and a publish is the first operation to fail. The run loop
// still handles what had arrived before the reset, and throws the error afterwards.
#include "FullSocket.hpp"
#include "Listening.hpp"
#include "Messaging.hpp"
#include "values/RabbitMq.hpp"

namespace
{

auto IsSocketError()
{
    return IsError(Amqp::ErrorCode::Library, -AMQP_STATUS_SOCKET_ERROR, amqp_error_string2(AMQP_STATUS_SOCKET_ERROR));
}

std::string DeliveryOf(std::string_view body)
{
    return DeliveryBytes(1, {.consumerTag = "1/1"}, {}, body, 4096);
}

// The peer sends the bytes after the client's last call, and resets the connection once they have arrived.
class ResetSession
{
public:
    explicit ResetSession(std::string sentBeforeReset)
        : bytes(std::move(sentBeforeReset)), broker([this](Dialogue& peer) { Play(peer); }), client(broker, 4096),
          socket(SocketTo(broker.Port()))
    {
        client.channel->Subscribe("q", inbox.Handler(), Amqp::Auto, false, false);
        subscribed.Set();
        EXPECT_TRUE(AwaitInput(socket, bytes.size()));
        arrived.Set();
        EXPECT_TRUE(AwaitReset(socket));
    }

private:
    void Play(Dialogue& peer)
    {
        peer.Login({.frameMax = 4096});
        peer.OpenChannel(1);
        AcceptConsumer(peer, 1, /*noAck*/ true);
        EXPECT_TRUE(subscribed.Wait());
        peer.SendBytes(bytes);
        EXPECT_TRUE(arrived.Wait());
        peer.Reset();
    }

    const std::string bytes;
    Event subscribed;
    Event arrived;
    ScriptedBroker broker;

public:
    Client client;
    Inbox inbox;

private:
    int socket;
};

} // namespace

TEST(FailedPublish, LeavesEarlierDeliveriesToRun)
{
    const std::string large(20'000, 'l'); // several frames
    ResetSession session(DeliveryOf("first") + DeliveryOf(large) + DeliveryOf("") + DeliveryOf("last"));

    session.client.channel->Publish("", "q", "cannot be sent", 0, {});
    EXPECT_THAT(session.client.noted.errors, testing::ElementsAre(IsSocketError()));
    EXPECT_TRUE(session.inbox.bodies.empty());
    for (int step = 1; step <= 4; ++step)
    {
        EXPECT_EQ(session.client.connection->Run(), true) << "step " << step;
    }

    EXPECT_THAT(session.inbox.bodies, testing::ElementsAre("first", large, "", "last"));
    EXPECT_THAT(ErrorOf([&] { session.client.connection->Run(); }), IsSocketError());
    EXPECT_THAT(ErrorOf([&] { session.client.connection->Run(); }), IsSocketError());
    EXPECT_EQ(session.client.noted.errors.size(), 1U);
}

TEST(FailedPublish, LeavesAnEarlierConnectionCloseToRun)
{
    const Frame close{methodFrame, 0, Encode(ConnectionClose{.replyCode = 320, .replyText = "CONNECTION_FORCED"})};
    ResetSession session(DeliveryOf("first") + FrameBytes(close));

    session.client.channel->Publish("", "q", "cannot be sent", 0, {});
    EXPECT_THAT(session.client.noted.errors, testing::ElementsAre(IsSocketError()));
    EXPECT_EQ(session.client.connection->Run(), true);
    EXPECT_EQ(session.client.connection->Run(), false);

    EXPECT_THAT(session.inbox.bodies, testing::ElementsAre("first"));
    EXPECT_THAT(ErrorOf([&] { session.client.connection->Run(); }), IsSocketError());
    EXPECT_EQ(session.client.noted.errors.size(), 1U);
}
