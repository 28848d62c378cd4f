// What a producer sends: its exchange, messages and replies, and what it logs of them.
#include <optional>
#include <string>

#include "Listening.hpp"
#include "values/RabbitMq.hpp"

namespace
{

using Amqp::Envelope;
using Amqp::ErrorCode;
using Amqp::Producer;

// A producer of the exchange "ex", from its channel to the end of its connection.
ScriptedBroker::Script OfProducer(ScriptedBroker::Script middle)
{
    return WithBindings(
        [middle = std::move(middle)](Dialogue& peer)
        {
            peer.OpenChannel(1);
            AcceptTopicExchange(peer, 1);
            middle(peer);
        },
        1);
}

// What the properties of an envelope over a text are, before anything is set.
Properties PlainText(std::uint8_t deliveryMode, std::optional<std::string> correlationId = {})
{
    return {.contentType = "text/plain", .deliveryMode = deliveryMode, .correlationId = std::move(correlationId)};
}

void RefuseExchange(Dialogue& peer)
{
    peer.Login();
    peer.OpenChannel(1);
    peer.Receive<ExchangeDeclare>(1);
    peer.Send(1, ChannelClose{.replyCode = 406, .replyText = "PRECONDITION_FAILED"});
    peer.Expect(1, ChannelCloseOk{});
    peer.CloseConnection();
}

} // namespace

TEST(Producer, DeclaresItsExchangeDurableAndLogsNothingOfIt)
{
    ScriptedBroker broker(OfProducer([](Dialogue&) {}));
    Log log;

    EXPECT_NO_THROW(Producer(Connect(broker), "ex", log.Sink()));

    EXPECT_TRUE(log.Lines().empty());
}

TEST(Producer, PublishesAnEnvelopeAsItIsToItsExchange)
{
    ScriptedBroker broker(
        OfProducer([](Dialogue& peer)
                   { peer.ExpectPublish(1, {.exchange = "ex", .routingKey = "orders.new"}, PlainText(2), "body"); }));
    Log log;
    Producer producer(Connect(broker), "ex", log.Sink());

    producer.Publish(Envelope(std::string_view("body"), Envelope::Persistent), "orders.new");

    EXPECT_THAT(log.Lines(), testing::ElementsAre("RabbitMQ Producer: Publishing message, routing key orders.new"));
}

TEST(Producer, PublishesTheEnvelopesOwnPropertiesAndAddsNone)
{
    Envelope message(std::string_view("body"), Envelope::NonPersistent);
    message.ContentType("application/json");
    message.CorrelationId("c-1");
    message.ReplyTo("replies");
    message.MessageId("m-1");
    message.TimeStamp(1234567890);
    message.Headers().Insert("key", "text");
    ScriptedBroker broker(OfProducer(
        [](Dialogue& peer)
        {
            peer.ExpectPublish(1, {.exchange = "ex", .routingKey = "key"},
                               {.contentType = "application/json",
                                .headers = Fields{{"key", Binary("text")}},
                                .deliveryMode = std::uint8_t{1},
                                .correlationId = "c-1",
                                .replyTo = "replies",
                                .messageId = "m-1",
                                .timestamp = 1234567890U},
                               "body");
        }));
    Producer producer(Connect(broker), "ex", {});

    EXPECT_NO_THROW(producer.Publish(message, "key"));
}

TEST(Producer, PublishesALargeBodyAsOneMessage)
{
    const std::string body(300'000, 'b');
    ScriptedBroker broker(OfProducer(
        [&](Dialogue& peer) { peer.ExpectPublish(1, {.exchange = "ex", .routingKey = "key"}, PlainText(1), body); }));
    Producer producer(Connect(broker), "ex", {});

    EXPECT_NO_THROW(producer.Publish(Envelope(body, Envelope::NonPersistent), "key"));
}

TEST(Producer, RepliesThroughTheDefaultExchangeWhateverItsOwn)
{
    Envelope reply(std::string_view("answer"), Envelope::NonPersistent);
    reply.CorrelationId("c-1");
    ScriptedBroker broker(
        OfProducer([](Dialogue& peer)
                   { peer.ExpectPublish(1, {.exchange = "", .routingKey = "q"}, PlainText(1, "c-1"), "answer"); }));
    Log log;
    Producer producer(Connect(broker), "ex", log.Sink());

    producer.Reply(reply, "q");

    EXPECT_THAT(log.Lines(), testing::ElementsAre("RabbitMQ Producer: Replying to the queue q, correlation id c-1"));
}

TEST(Producer, LogsAnEmptyCorrelationIdWhenTheReplyHasNone)
{
    ScriptedBroker broker(
        OfProducer([](Dialogue& peer) { peer.ExpectPublish(1, {.routingKey = "q"}, PlainText(1), ""); }));
    Log log;
    Producer producer(Connect(broker), "ex", log.Sink());

    producer.Reply(Envelope(std::string_view(), Envelope::NonPersistent), "q");

    EXPECT_THAT(log.Lines(), testing::ElementsAre("RabbitMQ Producer: Replying to the queue q, correlation id "));
}

TEST(Producer, PublishesAndRepliesWithoutALog)
{
    ScriptedBroker broker(OfProducer(
        [](Dialogue& peer)
        {
            peer.ExpectPublish(1, {.exchange = "ex", .routingKey = "key"}, PlainText(2), "one");
            peer.ExpectPublish(1, {.exchange = "", .routingKey = "q"}, PlainText(2), "two");
        }));
    Producer producer(Connect(broker), "ex", {});

    EXPECT_NO_THROW(producer.Publish(Envelope(std::string_view("one"), Envelope::Persistent), "key"));
    EXPECT_NO_THROW(producer.Reply(Envelope(std::string_view("two"), Envelope::Persistent), "q"));
}

TEST(Producer, LogsTheTextOfARefusedExchangeUnprefixed)
{
    ScriptedBroker broker(RefuseExchange);
    Log log;

    EXPECT_NO_THROW(Producer(Connect(broker), "ex", log.Sink()));

    EXPECT_THAT(log.Lines(), testing::ElementsAre("PRECONDITION_FAILED"));
}

TEST(Producer, LogsTheTextOfALaterChannelErrorUnprefixed)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            AcceptTopicExchange(peer, 1, "missing");
            peer.ExpectPublish(1, {.exchange = "missing", .routingKey = "key"}, PlainText(1), "");
            peer.Send(1, ChannelClose{.replyCode = 404, .replyText = "NOT_FOUND"});
            peer.CloseConnection();
        });
    Log log;
    const auto connection = Connect(broker);
    Producer producer(connection, "missing", log.Sink());
    producer.Publish(Envelope(std::string_view(), Envelope::NonPersistent), "key");

    EXPECT_EQ(connection->Run(), true);

    EXPECT_THAT(log.Lines(), testing::ElementsAre("RabbitMQ Producer: Publishing message, routing key key",
                                                  "Broker requested channel close"));
}

TEST(Producer, IgnoresARefusalWhenThereIsNoLog)
{
    ScriptedBroker broker(RefuseExchange);

    EXPECT_NO_THROW(Producer(Connect(broker), "ex", {}));
}

TEST(Producer, ThrowsWhatItsChannelThrows)
{
    EXPECT_THAT([] { Producer(nullptr, "ex", {}); },
                testing::ThrowsMessage<std::runtime_error>("Unable to create a channel on a null connection"));

    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.Receive<ExchangeDeclare>(1);
            peer.Send(0, ConnectionClose{.replyCode = 320, .replyText = "CONNECTION_FORCED"});
            peer.Expect(1, ConnectionCloseOk{});
            peer.CloseConnection();
        });
    EXPECT_THAT(ErrorOf([&] { Producer(Connect(broker), "ex", {}); }),
                IsError(ErrorCode::ConnectionClosed, 320, "CONNECTION_FORCED"));
}

TEST(Producer, LogsBeforeItPublishesAndLogsTheFailureOfPublishing)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            AcceptTopicExchange(peer, 1);
            peer.CloseConnection();
        });
    Log log;
    Producer producer(Connect(broker), "ex", log.Sink());

    producer.Publish(Envelope(std::string_view("body"), Envelope::Persistent), std::string(256, 'k'));

    EXPECT_THAT(log.Lines(),
                testing::ElementsAre("RabbitMQ Producer: Publishing message, routing key " + std::string(256, 'k'),
                                     amqp_error_string2(AMQP_STATUS_BAD_AMQP_DATA)));
}
