// A channel is destroyed, and the broker does not reply just channel.close-ok. The destructor throws nothing, and the
// connection goes on.
#include "Messaging.hpp"

namespace
{

// The client sends channel.close-ok or nothing, and then opens the next channel.
void OpenNextChannel(Dialogue& peer)
{
    const Frame opening{.channel = 2, .payload = Encode(ChannelOpen{})};
    const Frame closeOk{.channel = 1, .payload = Encode(ChannelCloseOk{})};
    Frame frame = peer.ReadFrame();
    if (frame == closeOk)
    {
        frame = peer.ReadFrame();
    }
    EXPECT_EQ(frame, opening) << Describe(frame);
    peer.Send(2, ChannelOpenOk{});
}

// Destroys channel 1, to which the broker replies as scripted, and goes on using the connection.
void ExpectToGoOn(const ScriptedBroker::Script& answer)
{
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.Expect(1, ChannelClose{});
            answer(peer);
            OpenNextChannel(peer);
            peer.Expect(2, QueueDeclare{.queue = "q", .passive = true});
            peer.Send(2, QueueDeclareOk{.queue = "q"});
            AcceptConsumer(peer, 2, /*noAck*/ true);
            peer.Deliver(2, {.consumerTag = "2/1"}, {}, "goes on");
            peer.CloseChannel(2);
            peer.CloseConnection();
        });
    Client client(broker);
    Inbox inbox;

    client.channel.reset();
    client.channel = client.NewChannel();
    client.channel->DeclareQueue("q");
    client.channel->Subscribe("q", inbox.Handler(), Amqp::Auto, false, false);
    for (int step = 0; step < 3 && inbox.bodies.empty(); ++step)
    {
        EXPECT_EQ(client.connection->Run(), true);
    }

    EXPECT_THAT(inbox.bodies, testing::ElementsAre("goes on"));
    EXPECT_TRUE(client.noted.errors.empty());
}

// Opens channels 1 and 2, and closes the connection when channel 1 is closed. The client sends connection.close-ok on
// `number`.
ScriptedBroker::Script CloseConnectionInPlaceOfAReply(std::uint16_t number)
{
    return [=](Dialogue& peer)
    {
        peer.Login();
        peer.OpenChannel(1);
        peer.OpenChannel(2);
        peer.Expect(1, ChannelClose{});
        peer.Send(0, ConnectionClose{.replyCode = 320, .replyText = "CONNECTION_FORCED"});
        peer.Expect(number, ConnectionCloseOk{});
        peer.CloseConnection();
    };
}

} // namespace

TEST(ChannelCloseReply, ThatIsAChannelCloseIsIgnored)
{
    ExpectToGoOn([](Dialogue& peer) { peer.Send(1, ChannelClose{.replyCode = 406, .replyText = "refused"}); });
}

TEST(ChannelCloseReply, BehindAChannelCloseIsIgnored)
{
    ExpectToGoOn(
        [](Dialogue& peer)
        {
            peer.Send(1, ChannelClose{.replyCode = 406, .replyText = "crossed"});
            peer.Send(1, ChannelCloseOk{});
        });
}

TEST(ChannelCloseReply, BehindAnotherMethodIsFound)
{
    ExpectToGoOn(
        [](Dialogue& peer)
        {
            peer.Send(1, QueueDeclareOk{.queue = "of nobody"});
            peer.Send(1, ChannelCloseOk{});
        });
}

TEST(ChannelCloseReply, InTheMiddleOfADeliveryEndsTheDelivery)
{
    ExpectToGoOn(
        [](Dialogue& peer)
        {
            peer.Send(1, BasicDeliver{.consumerTag = "1/1"});
            peer.SendFrame(headerFrame, 1, EncodeHeader({.bodySize = 10, .properties = {}}));
            peer.SendFrame(bodyFrame, 1, "half");
            peer.Send(1, ChannelCloseOk{});
        });
}

TEST(ChannelCloseReply, ThatIsAConnectionCloseIsFoundByTheNextStep)
{
    ScriptedBroker broker(CloseConnectionInPlaceOfAReply(0));
    Client client(broker);
    const auto other = client.NewChannel();

    client.channel.reset();
    EXPECT_EQ(client.connection->Run(), false);

    EXPECT_EQ(ErrorOf([&] { client.connection->Run(); }).category, Amqp::ErrorCode::Library);
    EXPECT_TRUE(client.noted.errors.empty());
}

TEST(ChannelCloseReply, ThatIsAConnectionCloseIsTheReplyToTheNextCall)
{
    ScriptedBroker broker(CloseConnectionInPlaceOfAReply(2));
    Client client(broker);
    const auto other = client.NewChannel();

    client.channel.reset();
    EXPECT_THAT(ErrorOf([&] { other->PurgeQueue("q"); }),
                IsError(Amqp::ErrorCode::ConnectionClosed, 320, "CONNECTION_FORCED"));

    EXPECT_EQ(ErrorOf([&] { other->PurgeQueue("q"); }).category, Amqp::ErrorCode::Library);
    EXPECT_TRUE(client.noted.errors.empty());
}
