// What the run loop does with frames that begin no delivery: methods of unknown channels, methods that nobody expects,
// frames that are no methods, heartbeats.
#include "Messaging.hpp"

namespace
{

constexpr std::uint16_t unknownChannel = 7;

void DeliverLast(Dialogue& peer)
{
    peer.Deliver(1, {.consumerTag = "1/1"}, {}, "after all that");
}

// Runs `events` steps, each of which must give true, and one more, which must hand over the last delivery.
void ExpectSkipped(const ScriptedBroker::Script& script, int events)
{
    ScriptedBroker broker(OnChannel(
        [=](Dialogue& peer)
        {
            AcceptConsumer(peer);
            script(peer);
            DeliverLast(peer);
        }));
    const Client client(broker);
    Inbox inbox;
    client.channel->Subscribe("q", inbox.Handler(), Amqp::None, false, false);

    for (int i = 0; i < events; ++i)
    {
        EXPECT_EQ(client.connection->Run(), true);
        EXPECT_TRUE(inbox.bodies.empty());
    }
    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(inbox.bodies, testing::ElementsAre("after all that"));
    EXPECT_TRUE(client.noted.errors.empty());
}

// Sends one frame that is no method; Run gives false, and the connection goes on.
void ExpectFalse(std::uint8_t type, const std::string& payload)
{
    ScriptedBroker broker(OnConsumer(
        [=](Dialogue& peer)
        {
            peer.SendFrame(type, 1, payload);
            DeliverLast(peer);
        }));
    const Client client(broker);
    Inbox inbox;
    client.channel->Subscribe("q", inbox.Handler(), Amqp::None, false, false);

    EXPECT_EQ(client.connection->Run(), false);
    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(inbox.bodies, testing::ElementsAre("after all that"));
}

// Sends a method that the library does not expect on its channel: thrown with this number, and the channel is dropped.
template <typename Method>
void ExpectUnexpected(const Method& method, const std::string& number)
{
    ScriptedBroker broker(OnDroppedChannel([=](Dialogue& peer) { peer.Send(1, method); }));
    const Client client(broker);

    EXPECT_THAT(ErrorOf([&] { client.connection->Run(); }),
                IsError(Amqp::ErrorCode::Server, 2, "Unexpected Amqp method received " + number));
    EXPECT_TRUE(client.noted.errors.empty());
}

} // namespace

TEST(UnexpectedMethod, IsThrownWithItsNumberInDecimalAndTheChannelIsDropped)
{
    ExpectUnexpected(BasicCancel{.consumerTag = "1/1"}, "3932190");
    ExpectUnexpected(ChannelFlow{.active = true}, "1310740");
    ExpectUnexpected(BasicNack{}, "3932280");
    ExpectUnexpected(QueueDeclareOk{.queue = "q"}, "3276811");
}

TEST(UnexpectedMethod, LeavesOtherChannelsInPlace)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.OpenChannel(2);
            peer.Send(1, ChannelFlow{});
            peer.ExpectPublish(2, {.routingKey = "q"}, PlainProperties(), "goes on");
            peer.CloseChannel(2);
            peer.CloseConnection();
        });
    Client client(broker);
    const auto other = OpenChannel(client.connection);

    ErrorOf([&] { client.connection->Run(); });
    client.channel.reset();
    other->Publish("", "q", "goes on", 0, {});
}

TEST(UnknownConsumerTag, IsDroppedWithoutAnswerAndRunReturnsTrue)
{
    ExpectSkipped(
        [](Dialogue& peer)
        {
            peer.Deliver(1, {.consumerTag = "1/2"}, {}, "unknown");
            peer.Deliver(1, {.consumerTag = ""}, {}, "unknown");
            peer.Deliver(1, {.consumerTag = std::string("1/1\0", 4)}, {}, "unknown");
        },
        3);
}

TEST(UnknownChannel, HasItsReturnsSkippedWithTheirContent)
{
    ExpectSkipped(
        [](Dialogue& peer)
        {
            peer.Return(unknownChannel, {.routingKey = "q"}, {.messageId = "1"}, std::string(300'000, 'r'));
            peer.Return(unknownChannel, {.routingKey = "q"}, {}, "");
        },
        2);
}

TEST(UnknownChannel, HasItsDeliveriesAndFetchedMessagesSkippedWithTheirContent)
{
    ExpectSkipped(
        [](Dialogue& peer)
        {
            peer.Deliver(unknownChannel, {.consumerTag = "7/1"}, {}, std::string(300'000, 'd'));
            peer.Send(unknownChannel, BasicGetOk{.routingKey = "q"});
            peer.SendContent(unknownChannel, {}, "fetched");
        },
        2);
}

TEST(UnknownChannel, HasItsOtherMethodsSkippedWithoutWaitingForContent)
{
    ExpectSkipped(
        [](Dialogue& peer)
        {
            peer.Send(unknownChannel, ChannelClose{.replyCode = 404, .replyText = "late"});
            peer.Send(unknownChannel, BasicCancel{.consumerTag = "7/1"});
            peer.Send(unknownChannel, BasicAck{});
        },
        3);
}

TEST(ConnectionBlocked, IsAnEventThatNothingIsWaitedForAfter)
{
    ExpectSkipped(
        [](Dialogue& peer)
        {
            peer.Send(0, ConnectionBlocked{.reason = "low on memory"});
            peer.Send(0, ConnectionUnblocked{});
        },
        2);
}

TEST(StrayAck, IsAnEventAndTheDeliveryAfterItIsNotLost)
{
    ExpectSkipped([](Dialogue& peer) { peer.Send(1, BasicAck{}); }, 1);
}

TEST(StrayAck, TakesTheContentThatFollowsWithIt)
{
    ExpectSkipped(
        [](Dialogue& peer)
        {
            peer.Send(1, BasicAck{});
            peer.SendContent(1, PlainProperties(), "content of nothing");
        },
        1);
}

TEST(FrameThatIsNoMethod, MakesRunReturnFalse)
{
    ExpectFalse(headerFrame, EncodeHeader({.bodySize = 4, .properties = PlainProperties()}));
    ExpectFalse(bodyFrame, "body");
    ExpectFalse(bodyFrame, "");
}

TEST(Heartbeat, IsNoEvent)
{
    ExpectSkipped(
        [](Dialogue& peer)
        {
            peer.SendHeartbeat();
            peer.SendHeartbeat();
        },
        0);
}
