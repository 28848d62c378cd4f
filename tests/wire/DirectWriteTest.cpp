// The library writes messages itself. They must equal, byte by byte, what rabbitmq-c writes.
#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "Messaging.hpp"
#include "Transport.hpp"
#include "engine/MessageFrames.hpp"

namespace
{

using namespace Transport;

constexpr std::size_t mostOfHead = Amqp::MessageFrames::mostOfHead;
constexpr std::size_t mostCopied = Amqp::MessageFrames::mostCopied;
constexpr int largeFrameMax = 131072;

// Returns the frames, so that a test can count them.
std::vector<Frame> ExpectSame(const std::vector<Message>& messages, int frameMax = smallestFrameMax)
{
    std::vector<Frame> frames = FramesOfRabbitMqC(messages, frameMax);
    for (const Way way : everyWay)
    {
        EXPECT_TRUE(Publish(messages, way, frameMax).frames == frames) << "way " << static_cast<int>(way);
    }
    return frames;
}

Message WithHeaders(std::size_t size, std::size_t bodySize)
{
    Amqp::Table inner;
    inner.Insert("number", 1);
    Amqp::Table nested;
    nested.Insert("inner", inner);
    Message message{.body = std::string(bodySize, 'b')};
    message.envelope.Headers().Insert("nested", nested);
    message.envelope.Headers().Insert("long", std::string(size, 'h'));
    return message;
}

} // namespace

TEST(DirectWrite, OfBodiesOfEverySizeUpToSomeFrames)
{
    std::vector<Message> messages;
    for (int size = 0; size < 2 * smallestFrameMax; size += size % 256 < 4 ? 1 : 17)
    {
        messages.push_back({.body = std::string(static_cast<std::size_t>(size), 'b')});
    }

    EXPECT_GT(ExpectSame(messages).size(), 1000U);
}

TEST(DirectWrite, OfFullFrames)
{
    const auto frames = ExpectSame(MessagesOfAllShapes());

    EXPECT_EQ(frames.size(), 11U * 2 + 0 + 1 + 1 + 1 + 1 + 1 + 2 + 2 + 2 + 2 + 3 + 1);
}

// One of these messages fills one system call to the last frame.
TEST(DirectWrite, OfHundredsOfFrames)
{
    constexpr std::size_t full = smallestFrameMax - 8;
    constexpr std::size_t most = Amqp::MessageFrames::mostFrames;
    std::vector<Message> messages;
    for (const std::size_t frames : {most - 1, most, most + 1, 2 * most, 5 * most})
    {
        for (const std::size_t size : {frames * full - 1, frames * full, frames * full + 1})
        {
            messages.push_back({.body = std::string(size, 'b')});
        }
    }

    EXPECT_GT(ExpectSame(messages).size(), std::size_t{3} * 9 * most);
}

TEST(DirectWrite, ThatTheKernelTakesInBits)
{
    const std::vector<Message> messages = MessagesOfAllShapes();
    const auto whole = FramesOfRabbitMqC(messages);

    for (const std::size_t bytes : {7U, 64U, 1000U, 4095U})
    {
        for (const Way way : everyWay)
        {
            atOnce = bytes;
            EXPECT_TRUE(Publish(messages, way).frames == whole) << "way " << static_cast<int>(way) << ", " << bytes;
            atOnce = SIZE_MAX;
        }
    }
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
    std::vector<Message> messages;
    Message all{.body = "all"};
    for (const Set& set : setters)
    {
        messages.push_back(
            {.body = "alone", .envelope = Amqp::Envelope(std::string_view(), Amqp::MetaData::NonPersistent)});
        set(messages.back().envelope);
        set(all.envelope);
    }
    messages.push_back(all);

    ExpectSame(messages);
}

// Heads up to a limit have a place of their own. These heads reach that limit at every byte of the header frame, and
// exceed it, with a body and without a body.
TEST(DirectWrite, OfHeadersAroundTheLimitOfTheHead)
{
    constexpr std::size_t besides = 100; // bytes of the head besides the long header
    std::vector<Message> messages;
    for (std::size_t size = mostOfHead - 2 * besides; size <= mostOfHead - besides + 9; ++size)
    {
        messages.push_back(WithHeaders(size, size % 2 == 0 ? mostCopied : 0));
    }

    ExpectSame(messages);
}

// The longest header fills its frame to the end. A message with a short head, which lies in another place, follows each
// message.
TEST(DirectWrite, OfHeadersUpToAFullFrame)
{
    constexpr std::size_t largest = largeFrameMax - frameOverhead;
    const std::size_t besides =
        FramesOfRabbitMqC({WithHeaders(mostOfHead, 0)}, largeFrameMax).at(1).payload.size() - mostOfHead;
    std::vector<Message> messages;
    for (const std::size_t size : {2 * mostOfHead, largest / 2, largest - besides - 1, largest - besides})
    {
        for (const std::size_t bodySize : {std::size_t{0}, std::size_t{1}, mostCopied + 1, 3 * largest})
        {
            messages.push_back(WithHeaders(size, bodySize));
            messages.push_back({.body = "small"});
        }
    }

    const auto frames = ExpectSame(messages, largeFrameMax);

    EXPECT_EQ(frames.size(), 4U * (4 * 2 + 0 + 1 + 1 + 3 + 4 * 3) + 1);
    EXPECT_EQ(std::count_if(frames.begin(), frames.end(),
                            [](const Frame& frame)
                            { return frame.type == headerFrame && frame.payload.size() == largest; }),
              4);
}

TEST(DirectWrite, OfTheLongestNamesAndOfACallback)
{
    const std::string longest(255, 'n');

    ExpectSame({{.body = "body", .exchange = longest, .routingKey = longest},
                {.body = "body", .exchange = longest, .routingKey = longest, .hasCallback = true},
                {.body = "body", .routingKey = "", .hasCallback = true}});
}
