// Small messages in a batch, which are written in one piece: octet by octet what rabbitmq-c writes frame by frame.
#include "Batches.hpp"
#include "connection/WholeMessage.hpp"
#include "values/FieldCodec.hpp"

#include <functional>
#include <optional>
#include <vector>

namespace
{

constexpr std::uint32_t smallestFrameMax = 4096;
constexpr std::size_t most = 4096; // octets of a message that is written in one piece

using Publishing = std::function<void(Amqp::Channel&)>;

std::vector<Frame> FramesOf(const Publishing& publish, bool inABatch)
{
    std::vector<Frame> frames;
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login({.frameMax = smallestFrameMax});
            peer.OpenChannel(1);
            const std::string end = Encode(QueuePurge{.queue = "end"});
            for (frames.push_back(peer.ReadFrame()); frames.back().payload != end; frames.push_back(peer.ReadFrame()))
            {
            }
            peer.Send(1, QueuePurgeOk{});
            peer.CloseChannel(1);
            peer.CloseConnection();
        });
    {
        const Client client(broker, smallestFrameMax);
        std::optional<Amqp::Batch> batch;
        if (inABatch)
        {
            batch.emplace(*client.channel);
        }
        publish(*client.channel);
        client.channel->PurgeQueue("end");
        EXPECT_TRUE(client.noted.errors.empty());
    }
    broker.Finish();
    return frames;
}

// Gives the frames, for a look at how many there are.
std::vector<Frame> ExpectSame(const Publishing& publish)
{
    std::vector<Frame> without = FramesOf(publish, false);
    EXPECT_EQ(FramesOf(publish, true), without);
    return without;
}

amqp_basic_properties_t NoProperties()
{
    return {};
}

} // namespace

TEST(BatchWrite, OfBodiesAroundTheLimitOfOnePiece)
{
    const auto frames = ExpectSame(
        [](Amqp::Channel& channel)
        {
            for (std::size_t size = most - 100; size <= most + 10; ++size)
            {
                channel.Publish("", "q", std::string(size, 'b'), 0, {});
            }
        });

    EXPECT_GT(frames.size(), 111U * 3);
}

TEST(BatchWrite, OfNoBodyOfOneOctetAndOfFullFrames)
{
    const auto frames = ExpectSame(
        [](Amqp::Channel& channel)
        {
            for (const std::size_t size : {0U, 1U, smallestFrameMax - 8, smallestFrameMax - 7, 2 * smallestFrameMax})
            {
                channel.Publish("", "q", std::string(size, 'b'), 0, {});
            }
        });

    EXPECT_EQ(frames.size(), 5U * 2 + 0 + 1 + 1 + 2 + 3 + 1);
}

TEST(BatchWrite, OfEachPropertyAlone)
{
    const std::string longest(255, 'p');
    using Set = std::function<void(Amqp::Envelope&)>;
    const std::vector<Set> setters = {[&](auto& envelope) { envelope.ContentType(longest); },
                                      [&](auto& envelope) { envelope.ContentEncoding(longest); },
                                      [&](auto& envelope) { envelope.CorrelationId(longest); },
                                      [&](auto& envelope) { envelope.ReplyTo(longest); },
                                      [&](auto& envelope) { envelope.Expiration(longest); },
                                      [&](auto& envelope) { envelope.MessageId(longest); },
                                      [&](auto& envelope) { envelope.Type(longest); },
                                      [&](auto& envelope) { envelope.UserId(longest); },
                                      [&](auto& envelope) { envelope.ApplicationId(longest); },
                                      [&](auto& envelope) { envelope.ClusterId(longest); },
                                      [&](auto& envelope) { envelope.Priority(9); },
                                      [&](auto& envelope) { envelope.TimeStamp(UINT64_MAX); },
                                      [&](auto& envelope) { envelope.Headers(Amqp::Table()); }};

    ExpectSame(
        [&](Amqp::Channel& channel)
        {
            Amqp::Envelope all("all", Amqp::MetaData::Persistent);
            for (const Set& set : setters)
            {
                Amqp::Envelope alone("alone", Amqp::MetaData::NonPersistent);
                set(alone);
                set(all);
                channel.Publish("", "q", alone, 0, {});
            }
            channel.Publish("", "q", all, 0, {});
        });
}

// Together they come to the limit at every octet of the header frame, with a body and without.
TEST(BatchWrite, OfHeadersAroundTheLimitOfOnePiece)
{
    const auto frames = ExpectSame(
        [](Amqp::Channel& channel)
        {
            Amqp::Table inner;
            inner.Insert("number", 1);
            Amqp::Table nested;
            nested.Insert("inner", inner);
            for (std::size_t size = most - 200; size < most - 100; ++size)
            {
                Amqp::Envelope envelope(size % 2 == 0 ? "b" : "", Amqp::MetaData::Persistent);
                envelope.Headers().Insert("nested", nested);
                envelope.Headers().Insert("long", std::string(size, 'h'));
                channel.Publish("", "q", envelope, 0, {});
            }
        });

    EXPECT_GT(frames.size(), 100U * 2);
}

TEST(BatchWrite, OfTheLongestNamesAndOfACallback)
{
    const std::string longest(255, 'n');

    ExpectSame(
        [&](Amqp::Channel& channel)
        {
            channel.Publish(longest, longest, "body", 0, {});
            channel.Publish(longest, longest, "body", 0, Unexpected());
            channel.Publish("", "", "body", 0, Unexpected());
        });
}

// No frame of it is larger than the smallest limit that a broker may set.
TEST(WholeMessage, HasAtMostAsManyOctetsAsEveryPeerTakesInAFrame)
{
    const amqp_basic_properties_t properties = NoProperties();
    const auto octetsWith = [&](const std::string& body) -> std::size_t
    {
        Amqp::WholeMessage whole;
        const auto octets = whole.Encode(1, {"", "q", 0, properties, body});
        return octets ? octets->size() : 0;
    };
    const std::size_t around = octetsWith("b") - 1;

    for (std::size_t size = 1; size <= 2 * most; ++size)
    {
        EXPECT_EQ(octetsWith(std::string(size, 'b')), around + size <= smallestFrameMax ? around + size : 0);
    }
}

TEST(WholeMessage, IsRefusedWhenItsHeadersAreMany)
{
    Amqp::Table headers;
    headers.Insert("long", std::string(most, 'h'));
    const Amqp::EncodedTable encoded(headers);
    amqp_basic_properties_t properties = NoProperties();
    properties._flags = AMQP_BASIC_HEADERS_FLAG;
    properties.headers = encoded.Get();

    EXPECT_EQ(Amqp::WholeMessage().Encode(1, {"", "q", 0, properties, ""}), std::nullopt);
}
