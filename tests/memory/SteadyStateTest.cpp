// How often the library allocates for each message once everything is set up. What rabbitmq-c allocates for the same is
// counted with a client of its own, and taken off.
#include "AllocationCount.hpp"
#include "support/BareClient.hpp"
#include "wire/Messaging.hpp"

#include <iostream>

namespace
{

constexpr std::uint64_t warmUp = 64;
constexpr std::uint64_t messages = 1024;

template <typename Step>
std::uint64_t BlocksOf(Step step)
{
    for (std::uint64_t i = 0; i < warmUp; ++i)
    {
        step();
    }
    CountFromZero();
    for (std::uint64_t i = 0; i < messages; ++i)
    {
        step();
    }
    return Allocated().blocks;
}

// What the library allocates for each message; the same for every one of them.
std::uint64_t PerMessage(const std::string& what, std::uint64_t library, std::uint64_t bare)
{
    EXPECT_GE(library, bare);
    EXPECT_EQ((library - bare) % messages, 0U);
    std::cout << what << ": " << (library - bare) / messages << " allocations a message (" << library << " for "
              << messages << ", of which rabbitmq-c " << bare << ")\n";
    return (library - bare) / messages;
}

// Texts that a std::string keeps within itself.
Properties ShortProperties()
{
    return {.contentType = "text/plain",
            .deliveryMode = std::uint8_t{2},
            .correlationId = "correlation",
            .replyTo = "replies",
            .messageId = "message",
            .timestamp = 1};
}

ScriptedBroker::Script Delivering(const Properties& properties, bool acknowledged)
{
    return OnChannel(
        [=](Dialogue& peer)
        {
            AcceptConsumer(peer, 1, !acknowledged);
            for (std::uint64_t tag = 1; tag <= warmUp + messages; ++tag)
            {
                peer.Deliver(1, {.consumerTag = "1/1", .deliveryTag = tag}, properties, "body");
                if (acknowledged)
                {
                    peer.Expect(1, BasicAck{.deliveryTag = tag});
                }
            }
        });
}

std::uint64_t PerDelivery(const std::string& what, const Properties& properties, Amqp::AcknowledgeMode mode)
{
    const bool acknowledged = mode == Amqp::Explicit;
    std::uint64_t bare = 0;
    {
        ScriptedBroker broker(Delivering(properties, acknowledged));
        BareClient client({.port = broker.Port()});
        client.Subscribe("q", !acknowledged, 1, "1/1");
        bare = BlocksOf([&] { client.ConsumeAll(1, acknowledged); });
        client.CloseChannel(1);
    }
    ScriptedBroker broker(Delivering(properties, acknowledged));
    const Client client(broker);
    client.channel->Subscribe("q", Ignore, mode, false, false);
    const std::uint64_t library = BlocksOf([&] { EXPECT_EQ(client.connection->Run(), true); });
    return PerMessage("delivery, " + what + (acknowledged ? ", Explicit" : ", Auto"), library, bare);
}

ScriptedBroker::Script Taking(const Properties& properties, bool numbered = false)
{
    return OnChannel(
        [=](Dialogue& peer)
        {
            Properties expected = properties;
            for (std::uint64_t number = 1; number <= warmUp + messages; ++number)
            {
                if (numbered)
                {
                    expected.messageId = std::to_string(number);
                }
                peer.ExpectPublish(1, {.routingKey = "q", .mandatory = numbered}, expected, "body");
            }
        });
}

std::uint64_t PerPublish(const std::string& what, const Properties& properties, const Amqp::Envelope& envelope)
{
    ScriptedBroker broker(Taking(properties));
    const Client client(broker);
    const std::uint64_t library = BlocksOf([&] { client.channel->Publish("", "q", envelope, 0, {}); });
    EXPECT_TRUE(client.noted.errors.empty());
    return PerMessage("publish, " + what, library, 0);
}

Amqp::Envelope ShortEnvelope()
{
    Amqp::Envelope envelope("body", Amqp::MetaData::Persistent);
    envelope.CorrelationId("correlation");
    envelope.ReplyTo("replies");
    envelope.MessageId("message");
    envelope.TimeStamp(1);
    return envelope;
}

} // namespace

TEST(AllocationCount, CountsEachBlockOnce)
{
    CountFromZero();
    void* volatile body = operator new(100);
    void* volatile more = std::malloc(100);
    more = std::realloc(more, 100'000);
    std::free(more);
    operator delete(body);

    EXPECT_EQ(Allocated().blocks, 3U);
}

TEST(SteadyState, ADeliveryWithoutHeadersTakesAtMostFourAllocations)
{
    for (const Amqp::AcknowledgeMode mode : {Amqp::Auto, Amqp::Explicit})
    {
        EXPECT_LE(PerDelivery("no properties", {}, mode), 4U);
        EXPECT_LE(PerDelivery("six short properties", ShortProperties(), mode), 4U);
    }
}

TEST(SteadyState, ADeliveryTakesOneMoreAllocationForEachLongText)
{
    Properties properties = ShortProperties();
    const std::uint64_t before = PerDelivery("six short properties", properties, Amqp::Auto);

    properties.contentType = "application/vnd.example+json"; // standard libraries keep up to 22 in the string itself
    properties.correlationId = properties.messageId = "00112233-4455-6677-8899-aabbccddeeff";

    EXPECT_EQ(PerDelivery("three of them long texts", properties, Amqp::Auto), before + 3);
}

// Nothing that rabbitmq-c does for a publish allocates, so there is nothing to take off.
TEST(SteadyState, RabbitMqCAllocatesNothingForAPublish)
{
    ScriptedBroker broker(Taking(PlainProperties()));
    BareClient client({.port = broker.Port()});
    amqp_basic_properties_t properties{};
    properties._flags = AMQP_BASIC_CONTENT_TYPE_FLAG | AMQP_BASIC_DELIVERY_MODE_FLAG;
    properties.content_type = amqp_cstring_bytes("text/plain");
    properties.delivery_mode = 2;

    EXPECT_EQ(BlocksOf([&] { client.Publish("", "q", properties, "body"); }), 0U);
    client.CloseChannel(1);
}

TEST(SteadyState, APublishOfATextAllocatesNothing)
{
    ScriptedBroker broker(Taking(PlainProperties()));
    const Client client(broker);

    const std::uint64_t library = BlocksOf([&] { client.channel->Publish("", "q", "body", 0, {}); });

    EXPECT_EQ(PerMessage("publish, a text", library, 0), 0U);
}

TEST(SteadyState, APublishOfAnEnvelopeAllocatesNothing)
{
    EXPECT_EQ(PerPublish("an envelope", PlainProperties(), {"body", Amqp::MetaData::Persistent}), 0U);

    Properties longest = ShortProperties();
    longest.correlationId = std::string(255, 'c');
    Amqp::Envelope envelope = ShortEnvelope();
    EXPECT_EQ(PerPublish("six short properties", ShortProperties(), envelope), 0U);

    envelope.CorrelationId(*longest.correlationId);
    EXPECT_EQ(PerPublish("six properties, a long one among them", longest, envelope), 0U);
}

TEST(SteadyState, APublishInABatchAllocatesNothing)
{
    ScriptedBroker broker(Taking(PlainProperties()));
    const Client client(broker);

    const std::uint64_t library = BlocksOf(
        [&]
        {
            const Amqp::Batch batch(*client.channel);
            client.channel->Publish("", "q", "body", 0, {});
        });

    EXPECT_EQ(PerMessage("publish, in a batch of one", library, 0), 0U);
}

TEST(SteadyState, APublishWithHeadersAllocatesForNestedTablesOnly)
{
    Amqp::Envelope envelope("body", Amqp::MetaData::Persistent);
    envelope.Headers().Insert("first", std::string(100, 'f'));
    envelope.Headers().Insert("second", std::uint64_t{2});
    Properties properties = PlainProperties();
    properties.headers = Fields{{"first", Binary(std::string(100, 'f'))}, {"second", UInt64(2)}};
    EXPECT_EQ(PerPublish("two headers", properties, envelope), 0U);

    Amqp::Table inner;
    inner.Insert("key", true);
    envelope.Headers().Insert("third", inner);
    properties.headers->push_back({"third", Nested({{"key", Bool(true)}})});
    EXPECT_EQ(PerPublish("three headers, a table among them", properties, envelope), 1U);
}

// Its place among those that may come back.
TEST(SteadyState, APublishWithACallbackAllocatesOneBlock)
{
    ScriptedBroker broker(Taking(PlainProperties(), /*numbered*/ true));
    const Client client(broker);

    const std::uint64_t library = BlocksOf(
        [&] { client.channel->Publish("", "q", "body", 0, [](const Amqp::Envelope&, const Amqp::AckStatus&) {}); });

    EXPECT_EQ(PerMessage("publish, a callback", library, 0), 1U);
}
