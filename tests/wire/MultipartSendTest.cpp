// Publishing a body that is larger than the part size: which messages go out, octet for octet.
#include "Series.hpp"

namespace
{

constexpr std::string_view tenBytes = "0123456789";

const BasicPublish plain{.exchange = "x", .routingKey = "k"};
const BasicPublish mandatory{.exchange = "x", .routingKey = "k", .mandatory = true};

// Publishes `body`, and expects these bodies as the parts of a series with this hash.
void ExpectParts(std::string_view body, std::size_t partSize, const std::vector<std::string>& parts,
                 const std::string& hash)
{
    ScriptedBroker broker(OnChannel(
        [&](Dialogue& peer)
        {
            for (std::size_t index = 0; index < parts.size(); ++index)
            {
                Properties properties = PlainProperties();
                properties.headers = PartHeaders(index, parts.size(), hash);
                peer.ExpectPublish(1, plain, properties, parts[index]);
            }
        }));
    const Client client(broker);

    client.channel->Publish("x", "k", body, partSize, {});

    EXPECT_TRUE(client.noted.errors.empty());
}

// Publishes `envelope`, ten bytes in parts of four, and expects parts with these properties beside the headers.
void ExpectProperties(const Amqp::Envelope& envelope, const Properties& expected)
{
    ScriptedBroker broker(OnChannel(
        [&](Dialogue& peer)
        {
            for (std::size_t index = 0; index < 3; ++index)
            {
                Properties properties = expected;
                properties.headers = PartHeaders(index, 3);
                peer.ExpectPublish(1, plain, properties, tenBytes.substr(index * 4, 4));
            }
        }));
    const Client client(broker);

    client.channel->Publish("x", "k", envelope, 4, {});

    EXPECT_TRUE(client.noted.errors.empty());
}

// With AllFourteen, and headers of its own.
Amqp::Envelope EnvelopeWithEveryProperty()
{
    Amqp::Envelope envelope(tenBytes, Amqp::MetaData::NonPersistent);
    SetTwelve(envelope);
    envelope.Headers().Insert("mine", "header");
    envelope.Headers().Insert(indexHeader, 7);
    return envelope;
}

} // namespace

TEST(MultipartSend, SendsTenBytesInPartsOfFourAsFourFourAndTwoWithOneHash)
{
    ExpectParts(tenBytes, 4, {"0123", "4567", "89"}, tenBytesHash);
}

TEST(MultipartSend, SendsEightBytesInPartsOfFourWithoutAnEmptyThirdPart)
{
    ExpectParts("01234567", 4, {"0123", "4567"}, "924592b9b103f14f833faafb67f480691f01988aa457c0061769f58cd47311bc");
}

TEST(MultipartSend, SendsEveryByteAsAPartWithAPartSizeOfOne)
{
    ExpectParts("abc", 1, {"a", "b", "c"}, "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(MultipartSend, SendsTwoPartsOfABodyOneByteLongerThanThePartSize)
{
    ExpectParts(tenBytes, 9, {"012345678", "9"}, tenBytesHash);
}

TEST(MultipartSend, SendsZerosInTheBody)
{
    ExpectParts(std::string_view("\0\0a\0", 4), 2, {std::string(2, '\0'), std::string("a\0", 2)},
                "982bf3c419344638ee86ca5c4e4da03e99af66d937cf644ff65f9b84fb278c83");
}

TEST(MultipartSend, SendsPartsThatAreLargerThanAFrame)
{
    // The hash of a million times "a", which every description of SHA-256 has.
    ExpectParts(std::string(1'000'000, 'a'), 400'000,
                {std::string(400'000, 'a'), std::string(400'000, 'a'), std::string(200'000, 'a')},
                "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(MultipartSend, SendsOneOrdinaryMessageWhenTheBodyFitsThePartSizeOrThePartSizeIsZero)
{
    const std::vector<std::size_t> partSizes{4, 5, SIZE_MAX, 0};
    ScriptedBroker broker(OnChannel(
        [&](Dialogue& peer)
        {
            for (std::size_t i = 0; i < partSizes.size(); ++i)
            {
                peer.ExpectPublish(1, plain, PlainProperties(), "0123");
            }
        }));
    const Client client(broker);

    for (const std::size_t partSize : partSizes)
    {
        client.channel->Publish("x", "k", "0123", partSize, {});
    }

    EXPECT_TRUE(client.noted.errors.empty());
}

TEST(MultipartSend, KeepsTheCallersHeadersOnAMessageThatIsNotSplit)
{
    Amqp::Envelope envelope(tenBytes, Amqp::MetaData::Persistent);
    envelope.Headers().Insert("mine", true);
    ScriptedBroker broker(OnChannel(
        [](Dialogue& peer)
        {
            Properties properties = PlainProperties();
            properties.headers = Fields{{"mine", Bool(true)}};
            peer.ExpectPublish(1, plain, properties, tenBytes);
        }));
    const Client client(broker);

    client.channel->Publish("x", "k", envelope, 10, {});

    EXPECT_TRUE(client.noted.errors.empty());
}

TEST(MultipartSend, SendsOnlyTheFourHeadersOfTheSeriesInPlaceOfTheCallersOwn)
{
    Amqp::Envelope envelope(tenBytes, Amqp::MetaData::Persistent);
    envelope.Headers().Insert("mine", "header");
    envelope.Headers().Insert(flagHeader, false);
    envelope.Headers().Insert(hashHeader, "mine");

    ExpectProperties(envelope, PlainProperties());
}

TEST(MultipartSend, SendsTheHeadersOfTheSeriesWhenTheCallerSetNoProperty)
{
    Amqp::Envelope envelope;
    envelope.SetBody(tenBytes.data(), tenBytes.size());

    ExpectProperties(envelope, {});
}

TEST(MultipartSend, CopiesAllOtherPropertiesToEveryPart)
{
    ExpectProperties(EnvelopeWithEveryProperty(), AllFourteen());
}

TEST(MultipartSend, LeavesTheCallersEnvelopeAsItWas)
{
    ScriptedBroker broker(OnChannel(
        [](Dialogue& peer)
        {
            for (int part = 0; part < 3; ++part)
            {
                peer.Expect(1, mandatory);
                peer.ReadFrame(); // header
                peer.ReadFrame(); // body
            }
        }));
    const Client client(broker);
    const Amqp::Envelope envelope = EnvelopeWithEveryProperty();
    const std::uint32_t flags = envelope.Flags();

    client.channel->Publish("x", "k", envelope, 4, Unexpected());

    EXPECT_EQ(envelope.Flags(), flags);
    EXPECT_EQ(envelope.MessageId(), "message");
    EXPECT_EQ(envelope.Body(), tenBytes.data());
    EXPECT_EQ(envelope.Size(), tenBytes.size());
    ASSERT_EQ(envelope.Headers().Size(), 2U);
    EXPECT_EQ(std::get<std::string>(envelope.Headers().Entries().at("mine")), "header");
    EXPECT_EQ(std::get<int>(envelope.Headers().Entries().at(indexHeader)), 7);
}

TEST(MultipartSend, GivesEveryPartItsOwnMessageIdAndMandatoryWithACallbackAndNeitherWithout)
{
    const auto part = [](std::size_t index, std::optional<std::string> messageId)
    {
        Properties properties = PlainProperties(std::move(messageId));
        properties.headers = PartHeaders(index, 3);
        return properties;
    };
    ScriptedBroker broker(OnChannel(
        [&](Dialogue& peer)
        {
            peer.ExpectPublish(1, mandatory, part(0, "1"), "0123");
            peer.ExpectPublish(1, mandatory, part(1, "2"), "4567");
            peer.ExpectPublish(1, mandatory, part(2, "3"), "89");
            peer.ExpectPublish(1, plain, part(0, {}), "0123");
            peer.ExpectPublish(1, plain, part(1, {}), "4567");
            peer.ExpectPublish(1, plain, part(2, {}), "89");
            peer.ExpectPublish(1, mandatory, PlainProperties("4"), tenBytes);
        }));
    const Client client(broker);

    client.channel->Publish("x", "k", tenBytes, 4, Unexpected());
    client.channel->Publish("x", "k", tenBytes, 4, {});
    client.channel->Publish("x", "k", tenBytes, 0, Unexpected());

    EXPECT_TRUE(client.noted.errors.empty());
}
