// The properties of a published message, octet for octet: which are sent, and headers of every kind in key order.
#include "Messaging.hpp"

namespace
{

constexpr auto nonPersistent = Amqp::MetaData::NonPersistent;

// Publishes the envelope, and expects just these properties with the body "b".
void ExpectProperties(const Properties& expected, const Amqp::Envelope& envelope)
{
    ScriptedBroker broker(
        OnChannel([=](Dialogue& peer) { peer.ExpectPublish(1, {.routingKey = "q"}, expected, "b"); }));
    const Client client(broker);

    client.channel->Publish("", "q", envelope, 0, {});

    EXPECT_TRUE(client.noted.errors.empty());
}

Amqp::Envelope Bare()
{
    Amqp::Envelope envelope;
    envelope.SetBody("b", 1);
    return envelope;
}

} // namespace

TEST(PublishedProperties, AreNoneWhenNoneIsSet)
{
    ExpectProperties({}, Bare());
}

TEST(PublishedProperties, AreContentTypeAndDeliveryModeOfAPlainBody)
{
    ScriptedBroker broker(OnChannel(
        [](Dialogue& peer)
        {
            const Properties two{.contentType = "text/plain", .deliveryMode = std::uint8_t{2}};
            peer.ExpectPublish(1, {.routingKey = "q"}, two, "b");
        }));
    const Client client(broker);

    client.channel->Publish("", "q", "b", 0, {});
}

TEST(PublishedProperties, AreThoseThatTheEnvelopesConstructorsSet)
{
    const std::vector<char> body{'b'};

    ExpectProperties({.contentType = "application/octet-stream", .deliveryMode = std::uint8_t{1}},
                     Amqp::Envelope(body, nonPersistent));
    ExpectProperties({.deliveryMode = std::uint8_t{1}}, Amqp::Envelope(1, "b", nonPersistent));
}

TEST(PublishedProperties, AreOnlyTheOnesThatWereSet)
{
    Amqp::Envelope envelope = Bare();
    envelope.ClusterId("cluster");
    envelope.Priority(200);
    envelope.ContentEncoding("");

    ExpectProperties({.contentEncoding = "", .priority = std::uint8_t{9}, .clusterId = "cluster"}, envelope);
}

TEST(PublishedProperties, CarryAnyOctetAsDeliveryMode)
{
    Amqp::Envelope envelope = Bare();
    envelope.DeliveryMode(Amqp::MetaData::DeliveryType(7));

    ExpectProperties({.deliveryMode = std::uint8_t{7}}, envelope);
}

TEST(PublishedProperties, AreAllFourteenWhenAllAreSet)
{
    Amqp::Envelope envelope = Bare();
    SetTwelve(envelope);
    envelope.Headers().Insert("key", "value");
    envelope.DeliveryMode(nonPersistent);

    ExpectProperties(AllFourteen(), envelope);
}

TEST(PublishedProperties, MayEachBe255BytesLong)
{
    const std::string longest(255, 'p');
    Amqp::Envelope envelope = Bare();
    Properties expected;
    expected.contentType = expected.correlationId = expected.messageId = expected.clusterId = longest;
    envelope.ContentType(longest);
    envelope.CorrelationId(longest);
    envelope.MessageId(longest);
    envelope.ClusterId(longest);

    ExpectProperties(expected, envelope);
}

TEST(PublishedHeaders, AreNotSentWhenEmptyAndNeverSet)
{
    Amqp::Envelope envelope = Bare();
    envelope.Headers().Insert("gone", 1);
    envelope.Headers().Remove("gone");

    ExpectProperties({}, envelope);
}

TEST(PublishedHeaders, AreAnEmptyTableAfterSettingAnEmptyTable)
{
    Amqp::Envelope envelope = Bare();
    envelope.Headers(Amqp::Table());

    ExpectProperties({.headers = Fields{}}, envelope);
}

TEST(PublishedHeaders, AreSentWhenFilledThroughTheGetter)
{
    Amqp::Envelope envelope = Bare();
    envelope.Headers().Insert("key", true);

    ExpectProperties({.headers = Fields{{"key", Bool(true)}}}, envelope);
    EXPECT_EQ(envelope.Flags(), 0U);
}

TEST(PublishedHeaders, CarryEveryKindInAscendingKeyOrder)
{
    Amqp::Table inner;
    inner.Insert("z", "last");
    inner.Insert("a", Amqp::Table());
    Amqp::Envelope envelope = Bare();
    Amqp::Table& headers = envelope.Headers();
    headers.Insert("table", inner);
    headers.Insert("array", Amqp::FieldValue(Amqp::Array({Amqp::FieldValue(std::int32_t{-1}), Amqp::FieldValue(true),
                                                          Amqp::FieldValue(Amqp::Array())})));
    headers.Insert("text", std::string("a\0b", 3));
    headers.Insert("double", -0.5);
    headers.Insert("float", 1.5F);
    headers.Insert("u64", std::uint64_t{0xFFFFFFFFFFFFFFFE});
    headers.Insert("u32", std::uint32_t{0xFFFFFFFE});
    headers.Insert("u16", std::uint16_t{0xFFFE});
    headers.Insert("u8", std::uint8_t{0xFE});
    headers.Insert("i64", std::int64_t{-4});
    headers.Insert("i32", std::int32_t{-3});
    headers.Insert("i16", std::int16_t{-2});
    headers.Insert("i8", std::int8_t{-1});
    headers.Insert("bool", false);
    headers.Insert("B", true);

    ExpectProperties({.headers = Fields{{"B", Bool(true)},
                                        {"array", List({Int32(-1), Bool(true), List({})})},
                                        {"bool", Bool(false)},
                                        {"double", Double(-0.5)},
                                        {"float", Float(1.5F)},
                                        {"i16", Int16(-2)},
                                        {"i32", Int32(-3)},
                                        {"i64", Int64(-4)},
                                        {"i8", Int8(-1)},
                                        {"table", Nested({{"a", Nested({})}, {"z", Binary("last")}})},
                                        {"text", Binary(std::string_view("a\0b", 3))},
                                        {"u16", UInt16(0xFFFE)},
                                        {"u32", UInt32(0xFFFFFFFE)},
                                        {"u64", UInt64(0xFFFFFFFFFFFFFFFE)},
                                        {"u8", UInt8(0xFE)}}},
                     envelope);
}

TEST(PublishedHeaders, TakeAKeyOf255BytesAndAnEmptyOne)
{
    Amqp::Envelope envelope = Bare();
    envelope.Headers().Insert(std::string(255, 'k'), true);
    envelope.Headers().Insert("", Amqp::Table());

    ExpectProperties({.headers = Fields{{"", Nested({})}, {std::string(255, 'k'), Bool(true)}}}, envelope);
}
