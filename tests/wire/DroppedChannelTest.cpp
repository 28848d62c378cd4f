// Channels that an error has dropped, and what the broker says of them afterwards: a number that is closed at the
// broker is not used again.
#include "Messaging.hpp"

TEST(DroppedChannel, IsClosedWhenTheBrokerSaysSo)
{
    ScriptedBroker broker(OnDroppedChannel(
        [](Dialogue& peer) { peer.Send(1, ChannelClose{.replyCode = 404, .replyText = "NOT_FOUND"}); }));
    const Client client(broker);
    client.channel->Publish("", tooLong, "cannot be sent", 0, {}); // drops the channel
    ASSERT_EQ(client.noted.errors.size(), 1U);

    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(ErrorOf([&] { client.channel->PurgeQueue("q"); }), IsUseOfAClosedChannel());
    EXPECT_EQ(client.noted.errors.size(), 1U);
}

TEST(DroppedChannel, IsUsedAsLongAsTheBrokerHasItOpen)
{
    ScriptedBroker broker(OnDroppedChannel(
        [](Dialogue& peer)
        {
            peer.Expect(1, QueuePurge{.queue = "q"});
            peer.Send(1, QueuePurgeOk{});
        }));
    const Client client(broker);
    client.channel->Publish("", tooLong, "cannot be sent", 0, {});

    EXPECT_NO_THROW(client.channel->PurgeQueue("q"));
}

TEST(DroppedChannel, IsOneThatIsClosedInTheMiddleOfADelivery)
{
    ScriptedBroker broker(OnConsumer(
        [](Dialogue& peer)
        {
            peer.Send(1, BasicDeliver{.consumerTag = "1/1"});
            peer.SendFrame(headerFrame, 1, EncodeHeader({.bodySize = 10, .properties = PlainProperties()}));
            peer.Send(1, ChannelClose{.replyCode = 406, .replyText = "PRECONDITION_FAILED"});
            peer.ExpectSilence(100ms);
        }));
    Client client(broker);
    client.channel->Subscribe("q", Ignore, Amqp::Explicit, false, false);

    EXPECT_EQ(client.connection->Run(), false);

    EXPECT_THAT(ErrorOf([&] { client.channel->PurgeQueue("q"); }), IsUseOfAClosedChannel());
    client.channel->Unsubscribe("1/1");
    EXPECT_EQ(client.connection->Run(200ms), std::nullopt);
}

TEST(DroppedChannel, IsClosedBySayingSoInPlaceOfContent)
{
    ScriptedBroker broker(OnDroppedChannel(
        [](Dialogue& peer)
        {
            peer.Send(1, BasicReturn{});
            peer.Send(1, ChannelClose{.replyCode = 404, .replyText = "NOT_FOUND"});
        }));
    const Client client(broker);
    client.channel->Publish("", tooLong, "cannot be sent", 0, {});

    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(ErrorOf([&] { client.channel->PurgeQueue("q"); }), IsUseOfAClosedChannel());
}
