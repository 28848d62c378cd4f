// Messages to the broker and back: properties, headers of every kind, bodies of every size, their order.
#include "Broker.hpp"

#include <sstream>

using testing::ElementsAre;

namespace
{

class BrokerPublishConsume : public BrokerWithQueue
{
protected:
    // The message as it comes back.
    Amqp::MetaData RoundTrip(const Amqp::Envelope& message)
    {
        Inbox inbox;
        channel->Publish("", queue, message, 0, {});
        channel->Subscribe(queue, inbox.Handler(), Amqp::Auto, false, false);
        EXPECT_TRUE(RunUntil(*connection, inbox.Has(1)));
        EXPECT_THAT(inbox.bodies, ElementsAre(Text(message)));
        return inbox.properties.at(0);
    }
};

class BrokerBody : public BrokerPublishConsume, public testing::WithParamInterface<std::size_t>
{
};

// A field value with its alternative, such as u8:255.
std::string Describe(const Amqp::FieldValue& value)
{
    static const char* const kinds[] = {"bool", "i8",  "i16", "i32", "i64",  "u8",    "u16",
                                        "u32",  "u64", "f32", "f64", "text", "array", "table"};
    std::ostringstream out;
    out.precision(17);
    out << kinds[value.index()] << ':';
    std::visit(
        [&out]<typename Value>(const Value& held)
        {
            if constexpr (std::is_same_v<Value, Amqp::Array>)
            {
                for (const Amqp::FieldValue& element : held.Entries())
                {
                    out << '[' << Describe(element) << ']';
                }
            }
            else if constexpr (std::is_same_v<Value, Amqp::Table>)
            {
                for (const auto& [key, element] : held.Entries())
                {
                    out << '{' << key << '=' << Describe(element) << '}';
                }
            }
            else if constexpr (std::is_same_v<Value, std::string>)
            {
                out << held;
            }
            else
            {
                out << +held;
            }
        },
        value);
    return out.str();
}

Amqp::Table HeadersOfEveryKind()
{
    Amqp::Table nested;
    nested.Insert("deep", std::uint8_t{255});
    Amqp::Table headers;
    headers.Insert("bool", true);
    headers.Insert("i8", std::int8_t{-128});
    headers.Insert("i16", std::int16_t{-32768});
    headers.Insert("i32", std::int32_t{-2147483647});
    headers.Insert("i64", std::int64_t{-9223372036854775807});
    headers.Insert("u8", std::uint8_t{255});
    headers.Insert("u16", std::uint16_t{65535});
    headers.Insert("u32", std::uint32_t{4294967295});
    headers.Insert("u64", std::uint64_t{18446744073709551615U});
    headers.Insert("f32", 0.5F);
    headers.Insert("f64", -1.0 / 3);
    headers.Insert("text", std::string("a\0b", 3));
    headers.Insert("array", Amqp::FieldValue(Amqp::Array({std::int16_t{1}, std::int16_t{2}})));
    headers.Insert("table", nested);
    headers.Insert("empty array", Amqp::FieldValue(Amqp::Array()));
    headers.Insert("empty table", Amqp::Table());
    return headers;
}

std::string Pattern(std::size_t size)
{
    std::string body(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
    {
        body[i] = static_cast<char>((i * 31 + i / 251) & 0xFF);
    }
    return body;
}

} // namespace

TEST_F(BrokerPublishConsume, AllProperties)
{
    Amqp::Envelope message("body", Amqp::MetaData::NonPersistent);
    message.ContentType("text/x");
    message.ContentEncoding("identity");
    message.Priority(5);
    message.CorrelationId("correlation");
    message.ReplyTo("reply");
    message.Expiration("60000");
    message.MessageId("message");
    message.TimeStamp(18446744073709551615U);
    message.Type("type");
    message.UserId(User());
    message.ApplicationId("application");
    message.ClusterId("cluster");
    message.Headers().Insert("key", "value");

    const Amqp::MetaData received = RoundTrip(message);

    EXPECT_EQ(received.Flags(), 0xFFFCU);
    EXPECT_EQ(received.ContentType(), "text/x");
    EXPECT_EQ(received.ContentEncoding(), "identity");
    EXPECT_EQ(received.DeliveryMode(), Amqp::MetaData::NonPersistent);
    EXPECT_EQ(received.Priority(), 5);
    EXPECT_EQ(received.CorrelationId(), "correlation");
    EXPECT_EQ(received.ReplyTo(), "reply");
    EXPECT_EQ(received.Expiration(), "60000");
    EXPECT_EQ(received.MessageId(), "message");
    EXPECT_EQ(received.TimeStamp(), 18446744073709551615U);
    EXPECT_EQ(received.Type(), "type");
    EXPECT_EQ(received.UserId(), User());
    EXPECT_EQ(received.ApplicationId(), "application");
    EXPECT_EQ(received.ClusterId(), "cluster");
    EXPECT_EQ(Describe(received.Headers()), "table:{key=text:value}");
}

TEST_F(BrokerPublishConsume, AMessageWithoutPropertiesComesAsPersistent)
{
    const Amqp::MetaData received = RoundTrip(Amqp::Envelope());

    EXPECT_EQ(received.Flags(), 0x1000U);
    EXPECT_EQ(received.DeliveryMode(), Amqp::MetaData::Persistent);
}

TEST_F(BrokerPublishConsume, APlainBodyComesAsPersistentText)
{
    Inbox inbox;
    channel->Subscribe(queue, inbox.Handler(), Amqp::Auto, false, false);

    channel->Publish("", queue, "text", 0, {});

    ASSERT_TRUE(RunUntil(*connection, inbox.Has(1)));
    EXPECT_EQ(inbox.properties[0].Flags(), 0x9000U);
    EXPECT_EQ(inbox.properties[0].ContentType(), "text/plain");
    EXPECT_EQ(inbox.properties[0].DeliveryMode(), Amqp::MetaData::Persistent);
}

TEST_F(BrokerPublishConsume, HeadersOfEveryKindKeepKindAndValue)
{
    Amqp::Envelope message("body", Amqp::MetaData::Persistent);
    message.Headers(HeadersOfEveryKind());

    const Amqp::MetaData received = RoundTrip(message);

    EXPECT_EQ(Describe(received.Headers()), Describe(HeadersOfEveryKind()));
}

// RabbitMQ hands headers on as they came, unless it has to add to them. Then it writes them anew, and knows no unsigned
// 64-bit integer.
TEST_F(BrokerPublishConsume, HeadersThatTheBrokerWritesAnewKeepKindAndValueButForUnsigned64Bit)
{
    const std::string deadLetters = ExclusiveQueue(*channel, "dead-letters");
    DeadLetter(queue, deadLetters);
    Inbox dead;
    channel->Subscribe(deadLetters, dead.Handler(), Amqp::Auto, false, false);
    Inbox rejected;
    channel->Subscribe(queue, rejected.Handler(Amqp::Nack), Amqp::Explicit, false, false);
    Amqp::Envelope message("body", Amqp::MetaData::Persistent);
    message.Headers(HeadersOfEveryKind());

    channel->Publish("", queue, message, 0, {});
    ASSERT_TRUE(RunUntil(*connection, dead.Has(1)));

    Amqp::Table headers = dead.properties[0].Headers();
    for (const char* const added : {"x-death", "x-first-death-exchange", "x-first-death-queue", "x-first-death-reason"})
    {
        EXPECT_TRUE(headers.Remove(added)) << added;
    }
    Amqp::Table expected = HeadersOfEveryKind();
    expected.Remove("u64");
    expected.Insert("u64", std::int64_t{-1});
    EXPECT_EQ(Describe(headers), Describe(expected));
}

TEST_F(BrokerPublishConsume, AnEmptyTableOfHeadersStaysOne)
{
    Amqp::Envelope message("body", Amqp::MetaData::Persistent);
    message.Headers(Amqp::Table());

    const Amqp::MetaData received = RoundTrip(message);

    EXPECT_NE(received.Flags() & 0x2000U, 0U);
    EXPECT_TRUE(received.Headers().Empty());
}

TEST_F(BrokerPublishConsume, TenThousandMessagesKeepTheirOrder)
{
    constexpr std::size_t count = 10000;
    std::vector<std::string> sent;
    for (std::size_t i = 0; i < count; ++i)
    {
        sent.push_back(std::to_string(i));
        channel->Publish("", queue, sent.back(), 0, {});
    }
    Inbox inbox;

    channel->Subscribe(queue, inbox.Handler(), Amqp::Explicit, false, false);
    EXPECT_TRUE(RunUntil(*connection, inbox.Has(count)));

    EXPECT_EQ(inbox.bodies, sent);
    EXPECT_TRUE(Holds(queue, {.ready = 0, .unacknowledged = 0}));
}

TEST_F(BrokerPublishConsume, DeliveriesGoToTheHandlerOfTheirSubscription)
{
    const std::string other = channel->DeclareQueue(false, true, false);
    const auto secondChannel = OpenChannel(connection);
    Inbox first;
    Inbox second;
    channel->Subscribe(queue, first.Handler(), Amqp::Auto, false, false);
    secondChannel->Subscribe(other, second.Handler(), Amqp::Explicit, false, false);

    channel->Publish("", queue, "one", 0, {});
    channel->Publish("", other, "two", 0, {});
    secondChannel->Publish("", queue, "three", 0, {});

    EXPECT_TRUE(RunUntil(*connection, [&] { return first.Has(2)() && second.Has(1)(); }));
    EXPECT_THAT(first.bodies, testing::UnorderedElementsAre("one", "three"));
    EXPECT_THAT(second.bodies, ElementsAre("two"));
}

TEST_P(BrokerBody, ComesBackWhole)
{
    const std::string body = Pattern(GetParam());
    Inbox inbox;
    channel->Subscribe(queue, inbox.Handler(), Amqp::Explicit, false, false);

    channel->Publish("", queue, body, 0, {});
    channel->Publish("", queue, "next", 0, {});

    EXPECT_TRUE(RunUntil(*connection, inbox.Has(2)));
    ASSERT_EQ(inbox.bodies.size(), 2U);
    EXPECT_TRUE(inbox.bodies[0] == body) << inbox.bodies[0].size() << " bytes";
    EXPECT_EQ(inbox.bodies[1], "next");
}

// 8 is what a frame adds to its content.
INSTANTIATE_TEST_SUITE_P(Sizes, BrokerBody,
                         testing::Values(0, 1, Broker::frameMax - 8, Broker::frameMax - 7, 2 * (Broker::frameMax - 8),
                                         1 << 20, 1 << 24));
