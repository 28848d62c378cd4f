// Messages that are written past rabbitmq-c: octet by octet what it writes itself.
#include "Messaging.hpp"
#include "Transport.hpp"
#include "connection/MessageFrames.hpp"

#include <functional>
#include <string>
#include <vector>

namespace
{

using namespace Transport;

constexpr std::size_t mostAtOnce = Amqp::MessageFrames::mostOfHead;

// Gives the frames, for a look at how many there are.
std::vector<Frame> ExpectSame(const Publishing& publish)
{
    throughRabbitMqC = 0;
    std::vector<Frame> frames = FramesOf(publish, Way::ThroughRabbitMqC);
    EXPECT_GT(throughRabbitMqC, 0U);
    EXPECT_EQ(FramesOf(publish, Way::Direct), frames);
    EXPECT_EQ(FramesOf(publish, Way::InABatch), frames);
    return frames;
}

} // namespace

TEST(DirectWrite, OfBodiesOfEverySizeUpToSomeFrames)
{
    const auto frames = ExpectSame(
        [](Amqp::Channel& channel)
        {
            for (int size = 0; size < 2 * smallestFrameMax; size += size % 256 < 4 ? 1 : 17)
            {
                channel.Publish("", "q", std::string(static_cast<std::size_t>(size), 'b'), 0, {});
            }
        });

    EXPECT_GT(frames.size(), 1000U);
}

TEST(DirectWrite, OfFullFrames)
{
    const auto frames = ExpectSame(PublishSizes);

    EXPECT_EQ(frames.size(), 11U * 2 + 0 + 1 + 1 + 1 + 1 + 1 + 2 + 2 + 2 + 2 + 3 + 1);
}

TEST(DirectWrite, ThatTheKernelTakesInBits)
{
    const auto whole = FramesOf(PublishSizes, Way::Direct);

    for (const std::size_t octets : {7U, 64U, 1000U, 4095U})
    {
        atOnce = octets;
        EXPECT_EQ(FramesOf(PublishSizes, Way::Direct), whole);
        EXPECT_EQ(FramesOf(PublishSizes, Way::InABatch), whole);
    }
    atOnce = SIZE_MAX;
}

TEST(DirectWrite, OfEachPropertyAlone)
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

// Together they come to the limit at every octet of the header frame, and beyond it, with a body and without.
TEST(DirectWrite, OfHeadersAroundTheLimitOfTheHead)
{
    constexpr std::size_t besides = 100; // octets of the head, without the long header
    constexpr std::size_t largest = mostAtOnce - besides;
    constexpr std::size_t beyond = 9;
    const auto publish = [](Amqp::Channel& channel)
    {
        Amqp::Table inner;
        inner.Insert("number", 1);
        Amqp::Table nested;
        nested.Insert("inner", inner);
        for (std::size_t size = largest - besides; size <= largest + beyond; ++size)
        {
            const std::string body(size % 2 == 0 ? Amqp::MessageFrames::mostCopied : 0, 'b');
            Amqp::Envelope envelope(body, Amqp::MetaData::Persistent);
            envelope.Headers().Insert("nested", nested);
            envelope.Headers().Insert("long", std::string(size, 'h'));
            channel.Publish("", "q", envelope, 0, {});
        }
    };

    ExpectSame(publish);

    throughRabbitMqC = 0;
    FramesOf(publish, Way::Direct);
    EXPECT_EQ(throughRabbitMqC, beyond);
}

TEST(DirectWrite, OfTheLongestNamesAndOfACallback)
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
