// How deliveries are answered: by mode and verdict, on the channel and with the tag they came with.
#include "Messaging.hpp"

#include <functional>
#include <stdexcept>

namespace
{

constexpr std::uint64_t highestTag = 0xFFFFFFFFFFFFFFFF;

// Delivers one message in Explicit mode, and expects this answer to the handler's verdict.
template <typename Answer>
void ExpectAnswer(int verdict, const Answer& answer)
{
    ScriptedBroker broker(OnConsumer(
        [=](Dialogue& peer)
        {
            peer.Deliver(1, {.consumerTag = "1/1", .deliveryTag = answer.deliveryTag}, {}, "body");
            peer.Expect(1, answer);
        }));
    const Client client(broker);
    Inbox inbox;
    client.channel->Subscribe("q", inbox.Handler(Amqp::Acknowledge(verdict)), Amqp::Explicit, false, false);

    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(inbox.bodies, testing::ElementsAre("body"));
}

// Delivers a message for each verdict in this mode, and expects no answer at all.
void ExpectNothingSettled(Amqp::AcknowledgeMode mode)
{
    constexpr int verdicts = 3;
    ScriptedBroker broker(OnChannel(
        [=](Dialogue& peer)
        {
            AcceptConsumer(peer, 1, mode == Amqp::Auto);
            for (std::uint64_t tag = 1; tag <= verdicts; ++tag)
            {
                peer.Deliver(1, {.consumerTag = "1/1", .deliveryTag = tag}, {}, "body");
            }
        }));
    const Client client(broker);
    int verdict = 0;
    client.channel->Subscribe(
        "q", [&](const Amqp::Envelope&) { return Amqp::Acknowledge(verdict++); }, mode, false, false);

    for (int i = 0; i < verdicts; ++i)
    {
        EXPECT_EQ(client.connection->Run(), true);
    }

    EXPECT_EQ(verdict, verdicts);
}

} // namespace

TEST(Verdict, OfZeroIsAnAckInExplicitMode)
{
    ExpectAnswer(0, BasicAck{.deliveryTag = 1, .multiple = false});
}

TEST(Verdict, OfOneIsANackWithoutRequeueInExplicitMode)
{
    ExpectAnswer(1, BasicNack{.deliveryTag = 2, .multiple = false, .requeue = false});
}

TEST(Verdict, OfTwoOrAnythingElseIsANackWithRequeueInExplicitMode)
{
    for (const int verdict : {2, 3, 7, -1})
    {
        ExpectAnswer(verdict, BasicNack{.deliveryTag = 3, .multiple = false, .requeue = true});
    }
}

TEST(Verdict, GoesWithTheHighestDeliveryTag)
{
    ExpectAnswer(0, BasicAck{.deliveryTag = highestTag});
    ExpectAnswer(1, BasicNack{.deliveryTag = highestTag});
}

TEST(Verdict, SendsNothingInAutoMode)
{
    ExpectNothingSettled(Amqp::Auto);
}

TEST(Verdict, SendsNothingInNoneMode)
{
    ExpectNothingSettled(Amqp::None);
}

TEST(Verdict, GoesToTheChannelOfItsDelivery)
{
    ScriptedBroker broker(OnTwoChannels(
        [](Dialogue& peer)
        {
            AcceptConsumer(peer, 1);
            AcceptConsumer(peer, 2);
            peer.Deliver(2, {.consumerTag = "2/1", .deliveryTag = 5}, {}, "two");
            peer.Deliver(1, {.consumerTag = "1/1", .deliveryTag = 5}, {}, "one");
            peer.Expect(2, BasicNack{.deliveryTag = 5, .requeue = true});
            peer.Expect(1, BasicAck{.deliveryTag = 5});
        }));
    Client client(broker);
    const auto other = client.NewChannel();
    Inbox one;
    Inbox two;
    client.channel->Subscribe("q", one.Handler(Amqp::Ack), Amqp::Explicit, false, false);
    other->Subscribe("q", two.Handler(Amqp::Requeue), Amqp::Explicit, false, false);

    EXPECT_EQ(client.connection->Run(), true);
    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(one.bodies, testing::ElementsAre("one"));
    EXPECT_THAT(two.bodies, testing::ElementsAre("two"));
}

TEST(Verdict, GoesByTheConsumerTagAndNotByTheChannel)
{
    ScriptedBroker broker(OnTwoChannels(
        [](Dialogue& peer)
        {
            AcceptConsumer(peer, 1);
            peer.Deliver(2, {.consumerTag = "1/1", .deliveryTag = 9}, {}, "body");
            peer.Expect(2, BasicAck{.deliveryTag = 9});
        }));
    Client client(broker);
    const auto other = client.NewChannel();
    Inbox inbox;
    client.channel->Subscribe("q", inbox.Handler(), Amqp::Explicit, false, false);

    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(inbox.bodies, testing::ElementsAre("body"));
}

TEST(EmptyHandler, InExplicitModeIsANackWithoutRequeueBeforeBadFunctionCall)
{
    ScriptedBroker broker(OnConsumer(
        [](Dialogue& peer)
        {
            peer.Deliver(1, {.consumerTag = "1/1", .deliveryTag = 4}, {}, "body");
            peer.Expect(1, BasicNack{.deliveryTag = 4, .requeue = false});
        }));
    const Client client(broker);
    client.channel->Subscribe("q", {}, Amqp::Explicit, false, false);

    EXPECT_THROW(client.connection->Run(), std::bad_function_call);
}

TEST(EmptyHandler, InTheOtherModesIsBadFunctionCallAlone)
{
    for (const auto mode : {Amqp::None, Amqp::Auto})
    {
        ScriptedBroker broker(OnChannel(
            [=](Dialogue& peer)
            {
                AcceptConsumer(peer, 1, mode == Amqp::Auto);
                peer.Deliver(1, {.consumerTag = "1/1"}, {}, "body");
            }));
        const Client client(broker);
        client.channel->Subscribe("q", {}, mode, false, false);

        EXPECT_THROW(client.connection->Run(), std::bad_function_call);
    }
}

TEST(ThrowingHandler, LeavesItsDeliveryUnansweredAndTheSubscriptionInPlace)
{
    ScriptedBroker broker(OnConsumer(
        [](Dialogue& peer)
        {
            peer.Deliver(1, {.consumerTag = "1/1", .deliveryTag = 1}, {}, "throw");
            peer.Deliver(1, {.consumerTag = "1/1", .deliveryTag = 2}, {}, "go on");
            peer.Expect(1, BasicAck{.deliveryTag = 2});
        }));
    const Client client(broker);
    Inbox inbox;
    client.channel->Subscribe(
        "q",
        [&](const Amqp::Envelope& envelope)
        {
            inbox.Note(envelope);
            return inbox.bodies.size() == 1 ? throw std::domain_error("own") : Amqp::Ack;
        },
        Amqp::Explicit, false, false);

    EXPECT_THROW(client.connection->Run(), std::domain_error);
    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(inbox.bodies, testing::ElementsAre("throw", "go on"));
    EXPECT_TRUE(client.noted.errors.empty());
}
