// How often memory is allocated for each message once everything is set up, by the library and by rabbitmq-c for it.
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

// What is allocated for each message, by the library or by rabbitmq-c for it; the same for every one of them.
std::uint64_t PerMessage(const std::string& what, std::uint64_t blocks)
{
    EXPECT_EQ(blocks % messages, 0U);
    std::cout << what << ": " << blocks / messages << " allocations a message (" << blocks << " for " << messages
              << ")\n";
    return blocks / messages;
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

Properties TwoHeaders()
{
    return {.headers = Fields{{"one", Int32(1)}, {"two", Text("a text that no std::string keeps within itself")}}};
}

ScriptedBroker::Script Delivering(const Properties& properties, bool acknowledged, const std::string& body)
{
    return OnChannel(
        [=](Dialogue& peer)
        {
            AcceptConsumer(peer, 1, !acknowledged);
            for (std::uint64_t tag = 1; tag <= warmUp + messages; ++tag)
            {
                peer.Deliver(1, {.consumerTag = "1/1", .deliveryTag = tag}, properties, body);
                if (acknowledged)
                {
                    peer.Expect(1, BasicAck{.deliveryTag = tag});
                }
            }
        });
}

std::uint64_t PerDelivery(const std::string& what, const Properties& properties, Amqp::AcknowledgeMode mode,
                          const std::string& body = "body")
{
    const bool acknowledged = mode == Amqp::Explicit;
    ScriptedBroker broker(Delivering(properties, acknowledged, body));
    broker.Deadline(20s);
    const Client client(broker);
    client.channel->Subscribe("q", Ignore, mode, false, false);
    const std::uint64_t blocks = BlocksOf([&] { EXPECT_EQ(client.connection->Run(), true); });
    return PerMessage("delivery, " + what + (acknowledged ? ", Explicit" : ", Auto"), blocks);
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
    return PerMessage("publish, " + what, library);
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

TEST(SteadyState, ADeliveryTakesNoAllocationOfTheLibrary)
{
    for (const Amqp::AcknowledgeMode mode : {Amqp::Auto, Amqp::Explicit})
    {
        EXPECT_EQ(PerDelivery("no properties", {}, mode), 0U);
        EXPECT_EQ(PerDelivery("six short properties", ShortProperties(), mode), 0U);
        EXPECT_EQ(PerDelivery("two headers", TwoHeaders(), mode), 1U); // in rabbitmq-c, which decodes a table
    }
}

TEST(SteadyState, ADeliveryOfSeveralFramesTakesNoAllocation)
{
    const std::string body(std::size_t{300} << 10, 'b');
    for (const Amqp::AcknowledgeMode mode : {Amqp::Auto, Amqp::Explicit})
    {
        EXPECT_EQ(PerDelivery("three frames", ShortProperties(), mode, body), 0U);
    }
}

TEST(SteadyState, ADeliveryOfLongTextsTakesNoAllocation)
{
    Properties properties = ShortProperties();
    properties.contentType = "application/vnd.example+json"; // standard libraries keep up to 22 in the string itself
    properties.correlationId = properties.messageId = "00112233-4455-6677-8899-aabbccddeeff";

    EXPECT_EQ(PerDelivery("three of them long texts", properties, Amqp::Auto), 0U);
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

    EXPECT_EQ(PerMessage("publish, a text", library), 0U);
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

    EXPECT_EQ(PerMessage("publish, in a batch of one", library), 0U);
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

    EXPECT_EQ(PerMessage("publish, a callback", library), 1U);
}
