// What is answered to each part, by the mode of the subscription, and what ends a series before its last part.
#include "Series.hpp"

#include <stdexcept>

namespace
{

Message Half(std::uint64_t index, std::string_view hash = "h")
{
    return {.headers = PartHeaders(index, 2, hash), .body = index == 0 ? "left" : "right"};
}

// Runs a series with a duplicate in a mode in which nothing is answered: the next octets from the client are those
// that close the channel.
void ExpectNoAnswer(Amqp::AcknowledgeMode mode)
{
    ScriptedBroker broker(OnChannel(
        [=](Dialogue& peer)
        {
            AcceptConsumer(peer, 1, mode == Amqp::Auto);
            Sender sender(peer);
            sender.Deliver(Half(1));
            sender.Deliver(Half(1));
            sender.Deliver(Half(0));
        }));
    Receiver receiver(broker, mode, Amqp::Requeue);

    receiver.Run(3);

    EXPECT_THAT(receiver.inbox.bodies, testing::ElementsAre("leftright"));
}

// A client on whose channel nothing is subscribed yet.
void Subscribe(const Client& client, Amqp::DeliveryHandler handler)
{
    client.channel->Subscribe("q", std::move(handler), Amqp::Explicit, false, false);
}

} // namespace

TEST(MultipartAnswer, IsAnAckForAStoredPartAtOnceWhateverTheHandlersVerdict)
{
    ScriptedBroker broker(OnSender(
        [](Sender& sender)
        {
            sender.DeliverAcked(Half(1));
            sender.DeliverNacked(Half(0), true);
        }));
    Receiver receiver(broker, Amqp::Explicit, Amqp::Requeue);

    receiver.Run(1);
    EXPECT_TRUE(receiver.inbox.bodies.empty());
    receiver.Run(1);

    EXPECT_THAT(receiver.inbox.bodies, testing::ElementsAre("leftright"));
}

TEST(MultipartAnswer, IsANackWithoutRequeueForTheSamePartDeliveredTwice)
{
    Message again = Half(0);
    again.body = "not this one";
    ScriptedBroker broker(OnSender(
        [&](Sender& sender)
        {
            sender.DeliverAcked(Half(0));
            sender.DeliverNacked(again, false);
            sender.DeliverNacked(again, false);
            sender.DeliverAcked(Half(1));
        }));
    Receiver receiver(broker);

    receiver.Run(4);

    EXPECT_THAT(receiver.inbox.bodies, testing::ElementsAre("leftright"));
}

TEST(MultipartAnswer, IsTheHandlersVerdictForTheCompletingPart)
{
    ScriptedBroker broker(OnSender(
        [](Sender& sender)
        {
            sender.DeliverAcked(Half(0));
            sender.DeliverAcked(Half(1));
            sender.DeliverAcked(Half(0));
            sender.DeliverNacked(Half(1), false);
            sender.DeliverAcked(Half(0));
            sender.DeliverNacked(Half(1), true);
        }));
    Client client(broker);
    const std::vector<Amqp::Acknowledge> verdicts{Amqp::Ack, Amqp::Nack, Amqp::Requeue};
    std::size_t calls = 0;
    Subscribe(client, [&](const Amqp::Envelope&) { return verdicts.at(calls++); });

    for (int step = 0; step < 6; ++step)
    {
        EXPECT_EQ(client.connection->Run(), std::optional(true));
    }

    EXPECT_EQ(calls, 3U);
}

TEST(MultipartAnswer, IsNoneInTheModeNone)
{
    ExpectNoAnswer(Amqp::None);
}

TEST(MultipartAnswer, IsNoneInTheModeAuto)
{
    ExpectNoAnswer(Amqp::Auto);
}

TEST(MultipartAnswer, IsNoneWhenTheHandlerThrowsAtCompletionAndTheNextSeriesWorks)
{
    ScriptedBroker broker(OnSender(
        [](Sender& sender)
        {
            sender.DeliverAcked(Half(0));
            sender.Deliver(Half(1));
            sender.DeliverAcked(Half(1));
            sender.DeliverAcked(Half(0));
        }));
    Client client(broker);
    Inbox inbox;
    Subscribe(client,
              [&](const Amqp::Envelope& envelope)
              {
                  inbox.Note(envelope);
                  return inbox.bodies.size() == 1 ? throw std::runtime_error("of the handler") : Amqp::Ack;
              });

    EXPECT_EQ(client.connection->Run(), std::optional(true));
    EXPECT_THAT([&] { client.connection->Run(); }, testing::ThrowsMessage<std::runtime_error>("of the handler"));
    EXPECT_EQ(client.connection->Run(), std::optional(true));
    EXPECT_EQ(client.connection->Run(), std::optional(true));

    EXPECT_THAT(inbox.bodies, testing::ElementsAre("leftright", "leftright"));
}

TEST(MultipartAnswer, IsNoneToPartsThatComeAfterUnsubscribingHalfWay)
{
    ScriptedBroker broker(OnConsumer(
        [](Dialogue& peer)
        {
            Sender sender(peer);
            sender.DeliverAcked(Half(0));
            peer.Expect(1, BasicCancel{.consumerTag = "1/1"});
            sender.Deliver(Half(1)); // on its way when the consumer was cancelled
            peer.Send(1, BasicCancelOk{.consumerTag = "1/1"});
            sender.Deliver(Half(0));
        }));
    Receiver receiver(broker);

    receiver.Run(1);
    receiver.channel->Unsubscribe("1/1");
    receiver.Run(2);

    EXPECT_TRUE(receiver.inbox.bodies.empty());
}

TEST(MultipartAnswer, IsThatOfANewSeriesAfterSubscribingAnew)
{
    ScriptedBroker broker(OnConsumer(
        [](Dialogue& peer)
        {
            Sender sender(peer);
            sender.DeliverAcked(Half(0));
            AcceptCancel(peer);
            peer.Expect(1, BasicConsume{.queue = "q", .consumerTag = "1/1"});
            peer.Send(1, BasicConsumeOk{.consumerTag = "1/1"});
            sender.DeliverAcked(Half(1)); // its sibling is forgotten
            sender.DeliverAcked(Half(0));
        }));
    Receiver receiver(broker);

    receiver.Run(1);
    receiver.channel->Unsubscribe("1/1");
    receiver.channel->SubscribeRpc("1/1", "q", receiver.inbox.Handler(), Amqp::Explicit, false, false);
    receiver.Run(1);
    EXPECT_TRUE(receiver.inbox.bodies.empty());
    receiver.Run(1);

    EXPECT_THAT(receiver.inbox.bodies, testing::ElementsAre("leftright"));
}

TEST(MultipartAnswer, IsStillTheVerdictOfAHandlerThatUnsubscribesItselfWhileAnotherSeriesIsHalfWay)
{
    ScriptedBroker broker(OnConsumer(
        [](Dialogue& peer)
        {
            Sender sender(peer);
            sender.DeliverAcked(Half(0, "half-way"));
            sender.DeliverAcked(Half(0));
            sender.Deliver(Half(1));
            AcceptCancel(peer);
            peer.Expect(1, BasicNack{.deliveryTag = 3});
        }));
    Client client(broker);
    Inbox inbox;
    Subscribe(client,
              [&](const Amqp::Envelope& envelope)
              {
                  client.channel->Unsubscribe("1/1");
                  inbox.Note(envelope); // the body is there still
                  return Amqp::Nack;
              });

    for (int step = 0; step < 3; ++step)
    {
        EXPECT_EQ(client.connection->Run(), std::optional(true));
    }

    EXPECT_THAT(inbox.bodies, testing::ElementsAre("leftright"));
}

TEST(MultipartAnswer, IsANackAndAnAckForAStoredPartWhenThereIsNoHandler)
{
    ScriptedBroker broker(OnConsumer(
        [](Dialogue& peer)
        {
            Sender sender(peer);
            sender.DeliverNacked(Half(0));
            peer.Expect(1, BasicAck{.deliveryTag = 1});
        }));
    const Client client(broker);
    Subscribe(client, {});

    EXPECT_EQ(client.connection->Run(), std::optional(true));
}

TEST(MultipartAnswer, LeavesPartsThatWaitToBeReleasedWithTheConnection)
{
    ScriptedBroker broker(OnSender(
        [](Sender& sender)
        {
            sender.DeliverAcked(Half(0));
            sender.DeliverAcked(Half(1, "another"));
        }));
    Receiver receiver(broker);

    receiver.Run(2);

    EXPECT_TRUE(receiver.inbox.bodies.empty()); // a part that is not released is found by the leak detection
}
