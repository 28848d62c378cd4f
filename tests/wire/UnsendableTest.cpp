// Messages that cannot be sent: nothing at all is written, the channel learns why and is dropped, the connection goes
// on.
#include "Messaging.hpp"

#include "values/RabbitMq.hpp"

namespace
{

auto IsBadData()
{
    return IsError(Amqp::ErrorCode::Library, 2, amqp_error_string2(AMQP_STATUS_BAD_AMQP_DATA));
}

auto IsTooBig()
{
    return IsError(Amqp::ErrorCode::Library, 11, amqp_error_string2(AMQP_STATUS_TABLE_TOO_BIG));
}

Amqp::Envelope Body()
{
    return {1, "b", Amqp::MetaData::Persistent};
}

// Publishes on channel 1, where it must fail with nothing written, and then on channel 2, where it must work.
template <typename Publish, typename Matcher>
void ExpectRefused(const Publish& publish, const Matcher& matcher)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.OpenChannel(2);
            peer.ExpectPublish(2, {.routingKey = "q"}, PlainProperties(), "goes on");
            peer.CloseChannel(2);
            peer.CloseConnection();
        });
    Client client(broker, 4096);
    const auto other = OpenChannel(client.connection);

    publish(*client.channel);

    EXPECT_THAT(client.noted.errors, testing::ElementsAre(matcher));
    client.channel.reset(); // dropped already: no channel.close
    other->Publish("", "q", "goes on", 0, {});
}

// The same for an envelope.
template <typename Matcher>
void ExpectEnvelopeRefused(const Amqp::Envelope& envelope, const Matcher& matcher)
{
    ExpectRefused([&](Amqp::Channel& channel) { channel.Publish("", "q", envelope, 0, {}); }, matcher);
}

// Headers that take just so many octets on the wire: length field, key with its length, kind, length, text.
Amqp::Table HeadersOf(std::size_t octets)
{
    Amqp::Table headers;
    headers.Insert("k", std::string(octets - 4 - 2 - 1 - 4, 'h'));
    return headers;
}

// What a frame of 4096 octets leaves for headers: frame and content header take 20, the flags take 2.
constexpr std::size_t room = 4096 - 20 - 2;

struct TextProperty
{
    std::string name;
    void (Amqp::MetaData::*set)(std::string_view);
};

void PrintTo(const TextProperty& property, std::ostream* out)
{
    *out << property.name;
}

class UnsendableText : public testing::TestWithParam<TextProperty>
{
};

} // namespace

TEST_P(UnsendableText, Of256BytesIsRefusedWithNothingWritten)
{
    Amqp::Envelope envelope = Body();
    (envelope.*GetParam().set)(tooLong);

    ExpectEnvelopeRefused(envelope, IsBadData());
}

INSTANTIATE_TEST_SUITE_P(EachText, UnsendableText,
                         testing::Values(TextProperty{"ContentType", &Amqp::MetaData::ContentType},
                                         TextProperty{"ContentEncoding", &Amqp::MetaData::ContentEncoding},
                                         TextProperty{"CorrelationId", &Amqp::MetaData::CorrelationId},
                                         TextProperty{"ReplyTo", &Amqp::MetaData::ReplyTo},
                                         TextProperty{"Expiration", &Amqp::MetaData::Expiration},
                                         TextProperty{"MessageId", &Amqp::MetaData::MessageId},
                                         TextProperty{"Type", &Amqp::MetaData::Type},
                                         TextProperty{"UserId", &Amqp::MetaData::UserId},
                                         TextProperty{"ApplicationId", &Amqp::MetaData::ApplicationId},
                                         TextProperty{"ClusterId", &Amqp::MetaData::ClusterId}),
                         [](const auto& each) { return each.param.name; });

TEST(Unsendable, IsAHeaderKeyOf256Bytes)
{
    Amqp::Envelope envelope = Body();
    envelope.Headers().Insert(tooLong, true);

    ExpectEnvelopeRefused(envelope, IsBadData());
}

TEST(Unsendable, IsANestedHeaderKeyOf256Bytes)
{
    Amqp::Table inner;
    inner.Insert(tooLong, true);
    Amqp::Envelope inTable = Body();
    inTable.Headers().Insert("table", inner);
    Amqp::Envelope inArray = Body();
    inArray.Headers().Insert("array", Amqp::FieldValue(Amqp::Array({Amqp::FieldValue(inner)})));

    ExpectEnvelopeRefused(inTable, IsBadData());
    ExpectEnvelopeRefused(inArray, IsBadData());
}

TEST(Unsendable, AreHeadersOneByteLargerThanFitAFrame)
{
    Amqp::Envelope bare;
    bare.SetBody("b", 1);
    bare.Headers(HeadersOf(room + 1));

    ExpectEnvelopeRefused(bare, IsTooBig());
}

TEST(Unsendable, AreHeadersThatAnotherPropertyLeavesNoRoomFor)
{
    Amqp::Envelope envelope = Body(); // its delivery mode takes one octet
    envelope.Headers(HeadersOf(room));

    ExpectEnvelopeRefused(envelope, IsTooBig());
}

TEST(Unsendable, AreNotHeadersThatJustFitAFrame)
{
    const Fields bareHeaders{{"k", Binary(std::string(room - 11, 'h'))}};
    const Fields headers{{"k", Binary(std::string(room - 11 - 14, 'h'))}};
    ScriptedBroker broker(OnChannel(
        [=](Dialogue& peer)
        {
            peer.ExpectPublish(1, {.routingKey = "q"}, {.headers = bareHeaders}, "b");
            peer.ExpectPublish(1, {.routingKey = "q"},
                               {.contentType = "t/s",
                                .headers = headers,
                                .deliveryMode = std::uint8_t{2},
                                .priority = std::uint8_t{1},
                                .timestamp = std::uint64_t{3}},
                               "b");
        }));
    const Client client(broker, 4096);
    Amqp::Envelope bare;
    bare.SetBody("b", 1);
    bare.Headers(HeadersOf(room));
    Amqp::Envelope envelope = Body();
    envelope.ContentType("t/s");
    envelope.Priority(1);
    envelope.TimeStamp(3);
    envelope.Headers(HeadersOf(room - 14));

    client.channel->Publish("", "q", bare, 0, {});
    client.channel->Publish("", "q", envelope, 0, {});

    EXPECT_TRUE(client.noted.errors.empty());
}

TEST(Unsendable, IsAnExchangeOf256Bytes)
{
    ExpectRefused([](Amqp::Channel& channel) { channel.Publish(tooLong, "q", "b", 0, {}); }, IsBadData());
}

TEST(Unsendable, IsARoutingKeyOf256Bytes)
{
    ExpectRefused([](Amqp::Channel& channel) { channel.Publish("", tooLong, "b", 0, {}); }, IsBadData());
}

TEST(Unsendable, IsWrittenNotEvenInPart)
{
    ScriptedBroker broker(OnDroppedChannel([](Dialogue& peer) { peer.ExpectSilence(100ms); }));
    const Client client(broker);
    Amqp::Envelope envelope = Body();
    envelope.Headers().Insert(tooLong, true);

    client.channel->Publish("", "q", envelope, 0, {});
    EXPECT_EQ(client.connection->Run(200ms), std::nullopt);
}

TEST(Unsendable, TakesANumberButLeavesNothingPending)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.OpenChannel(2);
            peer.ExpectPublish(2, {.routingKey = "q", .mandatory = true}, PlainProperties("2"), "second");
            peer.Return(2, {.routingKey = "q"}, {.messageId = "1"}, "first");
            peer.Return(2, {.routingKey = "q"}, {.messageId = "2"}, "second");
            peer.CloseChannel(2);
            peer.CloseConnection();
        });
    Client client(broker);
    const auto other = OpenChannel(client.connection);
    Outbox outbox;

    client.channel->Publish("", tooLong, "first", 0, Unexpected());
    other->Publish("", "q", "second", 0, outbox.Callback());
    EXPECT_EQ(client.connection->Run(), true);
    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(outbox.returned, testing::ElementsAre(Outbox::Returned{"second", "", "q", 312}));
}

TEST(Unsendable, ThrowsWhatTheNotifierThrows)
{
    ScriptedBroker broker(OnDroppedChannel([](Dialogue&) {}));
    const auto channel = OpenChannel(Connect(broker));

    EXPECT_THAT(ErrorOf([&] { channel->Publish("", tooLong, "b", 0, {}); }), IsBadData());
}

TEST(Unsendable, IsAnythingOnASocketThatThePeerHasClosed)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.Reset();
        });
    const Client client(broker);
    broker.Finish();

    client.channel->Publish("", "q", "b", 0, Unexpected());

    EXPECT_THAT(client.noted.errors, testing::ElementsAre(IsError(Amqp::ErrorCode::Library, 9,
                                                                  amqp_error_string2(AMQP_STATUS_SOCKET_ERROR))));
}
