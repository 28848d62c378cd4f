// Starting and cancelling consumers: every field of both methods, whose handler a tag has, and what a refusal leaves.
#include "Messaging.hpp"

namespace
{

// Opens a channel, subscribes with these arguments, and expects this method.
void ExpectConsume(const BasicConsume& expected, Amqp::AcknowledgeMode mode, bool noLocal, bool exclusive)
{
    ScriptedBroker broker(OnChannel(
        [=](Dialogue& peer)
        {
            peer.Expect(1, expected);
            peer.Send(1, BasicConsumeOk{.consumerTag = "1/1"});
        }));
    const Client client(broker);

    EXPECT_EQ(client.channel->Subscribe("q", &Ignore, mode, noLocal, exclusive), "1/1");
}

void Accept(Dialogue& peer, std::uint16_t channel, const std::string& tag, const std::string& queue = "q")
{
    peer.Expect(channel, BasicConsume{.queue = queue, .consumerTag = tag});
    peer.Send(channel, BasicConsumeOk{.consumerTag = tag});
}

} // namespace

TEST(Subscribe, SetsNoAckInAutoModeOnly)
{
    const BasicConsume plain{.queue = "q", .consumerTag = "1/1"};
    ExpectConsume({.queue = "q", .consumerTag = "1/1", .noAck = true}, Amqp::Auto, false, false);
    ExpectConsume(plain, Amqp::Explicit, false, false);
    ExpectConsume(plain, Amqp::None, false, false);
}

TEST(Subscribe, PassesNoLocalAndExclusiveThroughUnchanged)
{
    ExpectConsume({.queue = "q", .consumerTag = "1/1", .noLocal = true}, Amqp::None, true, false);
    ExpectConsume({.queue = "q", .consumerTag = "1/1", .exclusive = true}, Amqp::None, false, true);
    ExpectConsume({.queue = "q", .consumerTag = "1/1", .noLocal = true, .noAck = true, .exclusive = true}, Amqp::Auto,
                  true, true);
}

TEST(Subscribe, GoesByItsOwnTagWhateverTagTheBrokerReturns)
{
    ScriptedBroker broker(OnChannel(
        [](Dialogue& peer)
        {
            peer.Expect(1, BasicConsume{.queue = "q", .consumerTag = "1/1"});
            peer.Send(1, BasicConsumeOk{.consumerTag = "amq.ctag-other"});
            peer.Deliver(1, {.consumerTag = "amq.ctag-other"}, {}, "not for us");
            peer.Deliver(1, {.consumerTag = "1/1"}, {}, "for us");
        }));
    const Client client(broker);
    Inbox inbox;

    EXPECT_EQ(client.channel->Subscribe("q", inbox.Handler(), Amqp::None, false, false), "1/1");
    EXPECT_EQ(client.connection->Run(), true);
    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(inbox.bodies, testing::ElementsAre("for us"));
}

TEST(Subscribe, TwiceOnOneQueueGivesTwoTagsAndTwoRecords)
{
    ScriptedBroker broker(OnChannel(
        [](Dialogue& peer)
        {
            Accept(peer, 1, "1/1");
            Accept(peer, 1, "1/2");
            peer.Deliver(1, {.consumerTag = "1/2"}, {}, "to the second");
            peer.Deliver(1, {.consumerTag = "1/1"}, {}, "to the first");
        }));
    const Client client(broker);
    Inbox first;
    Inbox second;

    EXPECT_EQ(client.channel->Subscribe("q", first.Handler(), Amqp::None, false, false), "1/1");
    EXPECT_EQ(client.channel->Subscribe("q", second.Handler(), Amqp::None, false, false), "1/2");
    EXPECT_EQ(client.connection->Run(), true);
    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(first.bodies, testing::ElementsAre("to the first"));
    EXPECT_THAT(second.bodies, testing::ElementsAre("to the second"));
}

TEST(SubscribeRpc, SendsTheCallersTagQueueAndFlags)
{
    ScriptedBroker broker(OnChannel(
        [](Dialogue& peer)
        {
            peer.Expect(
                1, BasicConsume{
                       .queue = "replies", .consumerTag = "mine", .noLocal = true, .noAck = true, .exclusive = true});
            peer.Send(1, BasicConsumeOk{.consumerTag = "mine"});
            peer.Deliver(1, {.consumerTag = "mine"}, {}, "reply");
        }));
    const Client client(broker);
    Inbox inbox;

    client.channel->SubscribeRpc("mine", "replies", inbox.Handler(), Amqp::Auto, true, true);
    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(inbox.bodies, testing::ElementsAre("reply"));
}

TEST(SubscribeRpc, LeavesTheFirstHandlerInPlaceWithATagInUse)
{
    ScriptedBroker broker(OnChannel(
        [](Dialogue& peer)
        {
            Accept(peer, 1, "mine");
            Accept(peer, 1, "mine", "other");
            peer.Deliver(1, {.consumerTag = "mine"}, {}, "body");
        }));
    const Client client(broker);
    Inbox first;
    Inbox second;

    client.channel->SubscribeRpc("mine", "q", first.Handler(), Amqp::None, false, false);
    client.channel->SubscribeRpc("mine", "other", second.Handler(), Amqp::None, false, false);
    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(first.bodies, testing::ElementsAre("body"));
    EXPECT_TRUE(second.bodies.empty());
}

TEST(Subscribe, ReturnsTheTagButRecordsNothingWhenRefused)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.OpenChannel(2);
            peer.Expect(1, BasicConsume{.queue = "q", .consumerTag = "1/1"});
            peer.Send(1, ChannelClose{.replyCode = 404, .replyText = "NOT_FOUND", .classId = 60, .methodId = 20});
            peer.Expect(1, ChannelCloseOk{});
            Accept(peer, 2, "1/1"); // a record of that tag would keep the refused handler
            peer.Deliver(2, {.consumerTag = "1/1"}, {}, "body");
            peer.CloseChannel(2);
            peer.CloseConnection();
        });
    Client client(broker);
    const auto other = OpenChannel(client.connection);
    Inbox refused;
    Inbox accepted;

    EXPECT_EQ(client.channel->Subscribe("q", refused.Handler(), Amqp::Explicit, false, false), "1/1");
    EXPECT_THAT(client.noted.errors, testing::ElementsAre(IsError(Amqp::ErrorCode::ChannelClosed, 404, "NOT_FOUND")));
    other->SubscribeRpc("1/1", "q", accepted.Handler(), Amqp::None, false, false);
    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_TRUE(refused.bodies.empty());
    EXPECT_THAT(accepted.bodies, testing::ElementsAre("body"));
}

TEST(Unsubscribe, SendsOneCancelAndNoneForATagThatIsUnknown)
{
    ScriptedBroker broker(OnChannel(
        [](Dialogue& peer)
        {
            AcceptConsumer(peer);
            AcceptCancel(peer);
        }));
    const Client client(broker);

    const std::string tag = client.channel->Subscribe("q", &Ignore, Amqp::Explicit, false, false);
    client.channel->Unsubscribe("unknown");
    client.channel->Unsubscribe("");
    client.channel->Unsubscribe(tag);
    client.channel->Unsubscribe(tag);
}

TEST(Unsubscribe, DropsDeliveriesOnTheirWayWithoutAnswer)
{
    ScriptedBroker broker(OnConsumer(
        [](Dialogue& peer)
        {
            peer.Expect(1, BasicCancel{.consumerTag = "1/1"});
            peer.Deliver(1, {.consumerTag = "1/1", .deliveryTag = 1}, {}, "before cancel-ok");
            peer.Send(1, BasicCancelOk{.consumerTag = "1/1"});
            peer.Deliver(1, {.consumerTag = "1/1", .deliveryTag = 2}, {}, "after cancel-ok");
        }));
    const Client client(broker);
    Inbox inbox;

    const std::string tag = client.channel->Subscribe("q", inbox.Handler(), Amqp::Explicit, false, false);
    client.channel->Unsubscribe(tag);
    EXPECT_EQ(client.connection->Run(), true);
    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_TRUE(inbox.bodies.empty());
}

TEST(Unsubscribe, ForgetsTheHandlerEvenWhenTheBrokerRefuses)
{
    ScriptedBroker broker(OnDroppedChannel(
        [](Dialogue& peer)
        {
            AcceptConsumer(peer);
            peer.Expect(1, BasicCancel{.consumerTag = "1/1"});
            peer.Send(1, ChannelClose{.replyCode = 504, .replyText = "CHANNEL_ERROR"});
            peer.Expect(1, ChannelCloseOk{});
        }));
    const Client client(broker);

    const std::string tag = client.channel->Subscribe("q", &Ignore, Amqp::Explicit, false, false);
    client.channel->Unsubscribe(tag);
    client.channel->Unsubscribe(tag);

    EXPECT_THAT(client.noted.errors,
                testing::ElementsAre(IsError(Amqp::ErrorCode::ChannelClosed, 504, "CHANNEL_ERROR")));
}
