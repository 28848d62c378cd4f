// Headers that are asked for only after a call, which gives back the memory of what was read before.
#include "Messaging.hpp"

namespace
{

const std::string text(300, 'h');

std::string HeaderOf(const Amqp::MetaData& message)
{
    return std::get<std::string>(message.Headers().Entries().at("key"));
}

void AcceptQueue(Dialogue& peer)
{
    peer.Expect(1, QueueDeclare{});
    peer.Send(1, QueueDeclareOk{.queue = std::string(255, 'n')});
}

} // namespace

TEST(LateHeaders, OfADeliveryMayBeReadAfterACall)
{
    ScriptedBroker broker(OnConsumer(
        [](Dialogue& peer)
        {
            peer.Deliver(1, {.consumerTag = "1/1"}, {.headers = Fields{{"key", Binary(text)}}}, "body");
            AcceptQueue(peer);
            peer.Expect(1, BasicAck{});
        }));
    const Client client(broker);
    std::string seen;
    client.channel->Subscribe(
        "q",
        [&](const Amqp::Envelope& envelope)
        {
            client.channel->DeclareQueue(false, false, false);
            seen = HeaderOf(envelope);
            return Amqp::Ack;
        },
        Amqp::Explicit, false, false);

    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_EQ(seen, text);
}

TEST(LateHeaders, OfAReturnedMessageMayBeReadAfterACallAndOutliveItInACopy)
{
    Properties returned = PlainProperties("1");
    returned.headers = Fields{{"key", Binary(text)}};
    ScriptedBroker broker(OnChannel(
        [&](Dialogue& peer)
        {
            peer.ExpectPublish(1, {.routingKey = "q", .mandatory = true}, PlainProperties("1"), "body");
            peer.Return(1, {.routingKey = "q"}, returned, "body");
            AcceptQueue(peer);
        }));
    const Client client(broker);
    Amqp::MetaData kept;
    client.channel->Publish("", "q", "body", 0,
                            [&](const Amqp::Envelope& envelope, const Amqp::AckStatus&)
                            {
                                client.channel->DeclareQueue(false, false, false);
                                kept = envelope;
                            });

    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_EQ(HeaderOf(kept), text);
}
