// Handlers, callbacks and notifiers that use the library, or take away what they stand on.
#include "Messaging.hpp"

namespace
{

constexpr auto explicitly = Amqp::Explicit;

void DeliverOne(Dialogue& peer, std::uint64_t deliveryTag = 1)
{
    peer.Deliver(1, {.consumerTag = "1/1", .deliveryTag = deliveryTag}, {}, "body");
}

} // namespace

TEST(Handler, MayUnsubscribeItself)
{
    ScriptedBroker broker(OnConsumer(
        [](Dialogue& peer)
        {
            DeliverOne(peer, 1);
            peer.Expect(1, BasicCancel{.consumerTag = "1/1"});
            DeliverOne(peer, 2);
            peer.Send(1, BasicCancelOk{.consumerTag = "1/1"});
            peer.Expect(1, BasicAck{.deliveryTag = 1});
        }));
    const Client client(broker);
    int calls = 0;
    client.channel->Subscribe(
        "q",
        [&client, &calls, large = std::string(1000, 'c')](const Amqp::Envelope& envelope)
        {
            ++calls;
            client.channel->Unsubscribe("1/1");
            EXPECT_EQ(large, std::string(1000, 'c'));
            EXPECT_EQ(envelope.ViewBody(0, 4), "body");
            return Amqp::Ack;
        },
        explicitly, false, false);

    EXPECT_EQ(client.connection->Run(), true);
    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_EQ(calls, 1);
}

TEST(Handler, MaySubscribeMany)
{
    constexpr int many = 50; // more than a hash map holds without growing
    ScriptedBroker broker(OnConsumer(
        [](Dialogue& peer)
        {
            DeliverOne(peer);
            for (int i = 2; i < 2 + many; ++i)
            {
                const std::string tag = "1/" + std::to_string(i);
                peer.Expect(1, BasicConsume{.queue = "other", .consumerTag = tag});
                peer.Send(1, BasicConsumeOk{.consumerTag = tag});
            }
            peer.Expect(1, BasicNack{.requeue = true});
            peer.Deliver(1, {.consumerTag = "1/20"}, {}, "to one of them");
        }));
    const Client client(broker);
    Inbox inbox;
    client.channel->Subscribe(
        "q",
        [&](const Amqp::Envelope&)
        {
            for (int i = 0; i < many; ++i)
            {
                client.channel->Subscribe("other", inbox.Handler(), Amqp::None, false, false);
            }
            return Amqp::Requeue;
        },
        explicitly, false, false);

    EXPECT_EQ(client.connection->Run(), true);
    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(inbox.bodies, testing::ElementsAre("to one of them"));
}

TEST(Handler, MayPublishBeforeItsVerdictGoesOut)
{
    ScriptedBroker broker(OnConsumer(
        [](Dialogue& peer)
        {
            DeliverOne(peer);
            peer.ExpectPublish(1, {.routingKey = "replies", .mandatory = true}, PlainProperties("1"), "body");
            peer.Expect(1, BasicAck{});
        }));
    const Client client(broker);
    client.channel->Subscribe(
        "q",
        [&](const Amqp::Envelope& envelope)
        {
            client.channel->Publish("", "replies", envelope.ViewBody(0, envelope.Size()), 0, Unexpected());
            return Amqp::Ack;
        },
        explicitly, false, false);

    EXPECT_EQ(client.connection->Run(), true);
}

TEST(Handler, MayDeclareTopologyWhileDeliveriesKeepComing)
{
    ScriptedBroker broker(OnConsumer(
        [](Dialogue& peer)
        {
            DeliverOne(peer, 1);
            peer.Expect(1, QueueDeclare{.queue = "new", .durable = true});
            DeliverOne(peer, 2);
            peer.Send(1, QueueDeclareOk{.queue = "new"});
            peer.Expect(1, BasicAck{.deliveryTag = 1});
            peer.Expect(1, BasicAck{.deliveryTag = 2});
        }));
    const Client client(broker);
    std::vector<std::string> bodies;
    client.channel->Subscribe(
        "q",
        [&](const Amqp::Envelope& envelope)
        {
            if (bodies.empty())
            {
                client.channel->DeclareQueue("new", true, false, false);
            }
            bodies.emplace_back(envelope.ViewBody(0, envelope.Size()));
            return Amqp::Ack;
        },
        explicitly, false, false);

    EXPECT_EQ(client.connection->Run(), true);
    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(bodies, testing::ElementsAre("body", "body"));
}

TEST(Handler, ThatDropsItsOwnChannelIsNotAnsweredOnTheClosedNumber)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            AcceptConsumer(peer);
            DeliverOne(peer);
            peer.CloseChannel(1);
            peer.OpenChannel(2); // and no acknowledgement before it
            peer.CloseChannel(2);
            peer.CloseConnection();
        });
    Client client(broker);
    client.channel->Subscribe(
        "q",
        [&](const Amqp::Envelope&)
        {
            client.channel.reset();
            return Amqp::Ack;
        },
        explicitly, false, false);

    EXPECT_EQ(client.connection->Run(), true);
    client.NewChannel();
}

TEST(QueuedDelivery, IsNotAnsweredOnAChannelThatTheBrokerClosedDuringACall)
{
    ScriptedBroker broker(OnDroppedChannel(
        [](Dialogue& peer)
        {
            AcceptConsumer(peer);
            peer.Expect(1, QueueDeclare{.queue = "taken", .passive = true});
            DeliverOne(peer);
            peer.Send(1, ChannelClose{.replyCode = 404, .replyText = "NOT_FOUND"});
            peer.Expect(1, ChannelCloseOk{});
        }));
    const Client client(broker);
    Inbox inbox;
    client.channel->Subscribe("q", inbox.Handler(), explicitly, false, false);

    client.channel->DeclareQueue("taken");
    EXPECT_THAT(client.noted.errors, testing::ElementsAre(IsError(Amqp::ErrorCode::ChannelClosed, 404, "NOT_FOUND")));
    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(inbox.bodies, testing::ElementsAre("body"));
}

TEST(Handler, ThatHoldsTheLastReferenceToItsChannelMayBeForgotten)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            AcceptConsumer(peer);
            AcceptCancel(peer);
            peer.CloseChannel(1);
            peer.CloseConnection();
        });
    const auto connection = Connect(broker);
    auto channel = OpenChannel(connection);
    Amqp::Channel* const raw = channel.get();
    raw->Subscribe(
        "q", [channel](const Amqp::Envelope&) { return Amqp::Ack; }, explicitly, false, false);
    channel.reset();

    raw->Unsubscribe("1/1");
}

TEST(PublishCallback, MayPublishWithACallbackOfItsOwn)
{
    ScriptedBroker broker(OnChannel(
        [](Dialogue& peer)
        {
            for (const char* const number : {"1", "2"})
            {
                peer.ExpectPublish(1, {.routingKey = "q", .mandatory = true}, PlainProperties(number), "body");
                peer.Return(1, {.routingKey = "q"}, PlainProperties(number), number);
            }
        }));
    const Client client(broker);
    Outbox outbox;
    client.channel->Publish("", "q", "body", 0,
                            [&, note = outbox.Callback()](const auto& envelope, const Amqp::AckStatus& status)
                            {
                                client.channel->Publish("", "q", "body", 0, outbox.Callback());
                                note(envelope, status);
                            });

    EXPECT_EQ(client.connection->Run(), true);
    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(outbox.returned,
                testing::ElementsAre(Outbox::Returned{"1", "", "q", 312}, Outbox::Returned{"2", "", "q", 312}));
}

TEST(PublishCallback, MayCallTheBrokerAndStillReadItsStatusAndEnvelope)
{
    ScriptedBroker broker(OnChannel(
        [](Dialogue& peer)
        {
            peer.ExpectPublish(1, {.routingKey = "q", .mandatory = true}, PlainProperties("1"), "body");
            peer.Return(1, {.exchange = "exchange", .routingKey = "routing key"}, PlainProperties("1"), "body");
            peer.Expect(1, QueueDeclare{.queue = "q", .durable = true});
            peer.Send(1, QueueDeclareOk{.queue = std::string(255, 'n')});
        }));
    const Client client(broker);
    Outbox outbox;
    client.channel->Publish("", "q", "body", 0,
                            [&, note = outbox.Callback()](const auto& envelope, const Amqp::AckStatus& status)
                            {
                                client.channel->DeclareQueue("q", true, false, false);
                                note(envelope, status);
                            });

    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(outbox.returned, testing::ElementsAre(Outbox::Returned{"body", "exchange", "routing key", 312}));
}

TEST(PublishCallback, MayDropTheChannelThatItsMessageCameBackOn)
{
    ScriptedBroker broker(OnChannel(
        [](Dialogue& peer)
        {
            peer.ExpectPublish(1, {.routingKey = "q", .mandatory = true}, PlainProperties("1"), "body");
            peer.Return(1, {.routingKey = "q"}, PlainProperties("1"), "body");
        }));
    Client client(broker);
    Outbox outbox;
    client.channel->Publish("", "q", "body", 0,
                            [&, note = outbox.Callback()](const auto& envelope, const Amqp::AckStatus& status)
                            {
                                client.channel.reset();
                                note(envelope, status);
                            });

    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(outbox.returned, testing::ElementsAre(Outbox::Returned{"body", "", "q", 312}));
}
