// What a handler is given: properties, headers and body of a delivery as the broker sent them.
#include "Messaging.hpp"

#include "values/RabbitMq.hpp"

namespace
{

struct Delivered
{
    std::string body;
    Amqp::Envelope envelope; // without its body
};

// Sends one message and gives what the handler got.
Delivered Deliver(const Properties& properties, const std::string& body, int frameMax = 131072)
{
    ScriptedBroker broker(OnChannel(
        [=](Dialogue& peer)
        {
            AcceptConsumer(peer, 1, true);
            peer.Deliver(1, {.consumerTag = "1/1", .exchange = "x", .routingKey = "k"}, properties, body);
        }));
    const Client client(broker, frameMax);
    Inbox inbox;
    client.channel->Subscribe("q", inbox.Handler(), Amqp::Auto, false, false);

    EXPECT_EQ(client.connection->Run(), true);
    if (inbox.bodies.size() != 1)
    {
        ADD_FAILURE() << inbox.bodies.size() << " calls of the handler";
        return {};
    }
    return {inbox.bodies.front(), inbox.envelopes.front()};
}

const Amqp::FieldValue& At(const Amqp::Table& table, const std::string& key)
{
    return table.Entries().at(key);
}

} // namespace

TEST(Delivery, CarriesAllFourteenProperties)
{
    const auto [body, envelope] = Deliver(AllFourteen(), "body");

    EXPECT_EQ(body, "body");
    EXPECT_EQ(envelope.Flags(), 0xFFFCU);
    EXPECT_EQ(envelope.ContentType(), "type/sub");
    EXPECT_EQ(envelope.ContentEncoding(), "gzip");
    EXPECT_EQ(std::get<std::string>(At(envelope.Headers(), "key")), "value");
    EXPECT_EQ(envelope.DeliveryMode(), Amqp::MetaData::NonPersistent);
    EXPECT_EQ(envelope.Priority(), 5);
    EXPECT_EQ(envelope.CorrelationId(), "correlation");
    EXPECT_EQ(envelope.ReplyTo(), "reply");
    EXPECT_EQ(envelope.Expiration(), "60000");
    EXPECT_EQ(envelope.MessageId(), "message");
    EXPECT_EQ(envelope.TimeStamp(), 0xFFFFFFFFFFFFFFFF);
    EXPECT_EQ(envelope.Type(), "type");
    EXPECT_EQ(envelope.UserId(), "guest");
    EXPECT_EQ(envelope.ApplicationId(), "application");
    EXPECT_EQ(envelope.ClusterId(), std::string_view("clu\0ster", 8));
}

TEST(Delivery, WithoutPropertiesIsPersistentAndHasNoOtherFlag)
{
    const Delivered delivered = Deliver({}, "body");

    EXPECT_EQ(delivered.envelope.Flags(), 0x1000U);
    EXPECT_EQ(delivered.envelope.DeliveryMode(), Amqp::MetaData::Persistent);
    EXPECT_TRUE(delivered.envelope.Headers().Empty());
}

TEST(Delivery, LimitsThePriorityToNine)
{
    EXPECT_EQ(Deliver({.priority = std::uint8_t{255}}, "body").envelope.Priority(), 9);
}

TEST(Delivery, WithAnEmptyHeaderTableHasTheHeadersFlag)
{
    const Delivered delivered = Deliver({.headers = Fields{}}, "body");

    EXPECT_EQ(delivered.envelope.Flags(), 0x3000U);
    EXPECT_TRUE(delivered.envelope.Headers().Empty());
}

TEST(Delivery, CarriesHeadersOfEveryKind)
{
    const Amqp::Envelope envelope = Deliver({.headers = Fields{{"bool", Bool(true)},
                                                               {"i8", Int8(-1)},
                                                               {"i16", Int16(-2)},
                                                               {"i32", Int32(-3)},
                                                               {"i64", Int64(-4)},
                                                               {"u8", UInt8(0xFE)},
                                                               {"u16", UInt16(0xFFFE)},
                                                               {"u32", UInt32(0xFFFFFFFE)},
                                                               {"u64", UInt64(0xFFFFFFFFFFFFFFFE)},
                                                               {"float", Float(1.5F)},
                                                               {"double", Double(-0.5)},
                                                               {"long string", Text(std::string_view("a\0b", 3))},
                                                               {"bytes", Binary("bytes")},
                                                               {"array", List({Int32(1), Int32(2)})},
                                                               {"table", Nested({{"inner", Bool(false)}})}}},
                                            "")
                                        .envelope;

    const Amqp::Table& headers = envelope.Headers();
    EXPECT_EQ(headers.Size(), 15U);
    EXPECT_EQ(std::get<bool>(At(headers, "bool")), true);
    EXPECT_EQ(std::get<std::int8_t>(At(headers, "i8")), -1);
    EXPECT_EQ(std::get<std::int16_t>(At(headers, "i16")), -2);
    EXPECT_EQ(std::get<std::int32_t>(At(headers, "i32")), -3);
    EXPECT_EQ(std::get<std::int64_t>(At(headers, "i64")), -4);
    EXPECT_EQ(std::get<std::uint8_t>(At(headers, "u8")), 0xFE);
    EXPECT_EQ(std::get<std::uint16_t>(At(headers, "u16")), 0xFFFE);
    EXPECT_EQ(std::get<std::uint32_t>(At(headers, "u32")), 0xFFFFFFFE);
    EXPECT_EQ(std::get<std::uint64_t>(At(headers, "u64")), 0xFFFFFFFFFFFFFFFE);
    EXPECT_EQ(std::get<float>(At(headers, "float")), 1.5F);
    EXPECT_EQ(std::get<double>(At(headers, "double")), -0.5);
    EXPECT_EQ(std::get<std::string>(At(headers, "long string")), std::string("a\0b", 3));
    EXPECT_EQ(std::get<std::string>(At(headers, "bytes")), "bytes");
    EXPECT_EQ(std::get<std::int32_t>(std::get<Amqp::Array>(At(headers, "array")).Entries().at(1)), 2);
    EXPECT_EQ(std::get<bool>(At(std::get<Amqp::Table>(At(headers, "table")), "inner")), false);
}

TEST(Delivery, CarriesFalseForKindsThatHaveNoAlternative)
{
    const Amqp::Envelope envelope =
        Deliver({.headers = Fields{{"decimal", Decimal(2, 314)}, {"time stamp", Timestamp(1)}, {"void", Void()}}}, "")
            .envelope;

    for (const char* const key : {"decimal", "time stamp", "void"})
    {
        EXPECT_EQ(std::get<bool>(At(envelope.Headers(), key)), false) << key;
    }
}

TEST(Delivery, DropsArrayElementsOfAnotherKindAndRepeatedKeys)
{
    const Amqp::Envelope envelope =
        Deliver(
            {.headers = Fields{{"array", List({Int32(1), Text("2"), Int32(3)})}, {"key", Int32(1)}, {"key", Int32(2)}}},
            "")
            .envelope;

    EXPECT_EQ(envelope.Headers().Size(), 2U);
    EXPECT_EQ(std::get<Amqp::Array>(At(envelope.Headers(), "array")).Size(), 2U);
    EXPECT_EQ(std::get<std::int32_t>(At(envelope.Headers(), "key")), 1);
}

TEST(Delivery, DropsAHeaderWithAnEmptyKey)
{
    const Fields headers{{"", Int32(1)}, {"key", Int32(2)}};

    EXPECT_EQ(Deliver({.headers = headers}, "").envelope.Headers().Entries().size(), 1U);
}

TEST(Delivery, CarriesAnEmptyBody)
{
    EXPECT_EQ(Deliver(PlainProperties(), "").body, "");
}

TEST(Delivery, CarriesEveryOctetInTheBody)
{
    std::string body("\0\0", 2);
    for (int octet = 0; octet < 256; ++octet)
    {
        body += static_cast<char>(octet);
    }

    EXPECT_EQ(Deliver(PlainProperties(), body).body, body);
}

TEST(Delivery, JoinsABodyOfSeveralFrames)
{
    std::string body;
    while (body.size() < 20'000)
    {
        body += std::to_string(body.size()) + ' ';
    }

    EXPECT_EQ(Deliver(PlainProperties(), body, 4096).body, body);
}

TEST(Delivery, JoinsABodyThatTheBrokerCutsIntoSingleOctets)
{
    ScriptedBroker broker(OnConsumer(
        [](Dialogue& peer)
        {
            peer.SendBytes(DeliveryBytes(1, {.consumerTag = "1/1"}, {}, "one by one", 9));
            peer.Expect(1, BasicAck{});
        }));
    const Client client(broker);
    Inbox inbox;
    client.channel->Subscribe("q", inbox.Handler(), Amqp::Explicit, false, false);

    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(inbox.bodies, testing::ElementsAre("one by one"));
}

TEST(Delivery, ComesOneToAStepInTheOrderOfTheBroker)
{
    ScriptedBroker broker(OnConsumer(
        [](Dialogue& peer)
        {
            std::string bytes;
            for (std::uint64_t tag = 1; tag <= 3; ++tag)
            {
                bytes += DeliveryBytes(1, {.consumerTag = "1/1", .deliveryTag = tag}, {}, std::to_string(tag));
            }
            peer.SendBytes(bytes);
        }));
    const Client client(broker);
    Inbox inbox;
    client.channel->Subscribe("q", inbox.Handler(), Amqp::None, false, false);

    for (std::size_t step = 1; step <= 3; ++step)
    {
        EXPECT_EQ(client.connection->Run(), true);
        EXPECT_EQ(inbox.bodies.size(), step);
    }
    EXPECT_EQ(client.connection->Run(1ms), std::nullopt);

    EXPECT_THAT(inbox.bodies, testing::ElementsAre("1", "2", "3"));
}
