// The frames of a message: whether they are whole and in order, how many one call returns, and which bytes are copied.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "engine/MessageFrames.hpp"
#include "support/Content.hpp"
#include "values/Bytes.hpp"

namespace
{

using Amqp::MessageFrames;

constexpr std::uint16_t itsChannel = 258;
constexpr std::size_t frameMax = 4096;
constexpr std::size_t fullBody = frameMax - 8;

// A message whose only property is a header with a string of `headerSize` bytes.
struct Outgoing
{
    explicit Outgoing(std::size_t bodySize, std::size_t headerSize = 0)
        : body(bodySize, 'b'), header(headerSize, 'h'), entry{Amqp::ToBytes("k"), {}}
    {
        for (std::size_t i = 0; i < bodySize; ++i)
        {
            body[i] = static_cast<char>(i % 251); // no frame is like another
        }
        if (headerSize > 0)
        {
            entry.value.kind = AMQP_FIELD_KIND_UTF8;
            entry.value.value.bytes = Amqp::ToBytes(header);
            properties._flags = AMQP_BASIC_HEADERS_FLAG;
            properties.headers = {1, &entry};
        }
    }
    Outgoing(const Outgoing&) = delete;
    Outgoing& operator=(const Outgoing&) = delete;

    Amqp::OutgoingMessage Message() const { return {"exchange", "key", 0, properties, body}; }

    // Returns the same message from an encoder that the library does not use.
    std::string Expected(std::size_t mostOctets) const
    {
        Wire::Properties expected;
        if (!header.empty())
        {
            expected.headers = Wire::Fields{{"k", Wire::Text(header)}};
        }
        return Wire::FrameBytes({Wire::methodFrame, itsChannel,
                                 Wire::Encode(Wire::BasicPublish{.exchange = "exchange", .routingKey = "key"})}) +
               Wire::FrameBytes(
                   Wire::ContentFrames(itsChannel, expected, body, static_cast<std::uint32_t>(mostOctets)));
    }

    std::string body;
    std::string header;
    amqp_table_entry_t entry;
    amqp_basic_properties_t properties{};
};

struct Pieces
{
    std::string octets;
    std::size_t calls = 0;
};

Pieces All(MessageFrames& frames)
{
    Pieces all;
    for (; all.calls == 0 || frames.HasNext(); ++all.calls)
    {
        for (const std::string_view piece : frames.Next())
        {
            all.octets += piece;
        }
    }
    return all;
}

void ExpectWhole(const Outgoing& outgoing, std::size_t calls, std::size_t mostOctets = frameMax)
{
    MessageFrames::Room room;
    const Amqp::OutgoingMessage message = outgoing.Message();
    MessageFrames frames(itsChannel, message, mostOctets, room);
    ASSERT_EQ(frames.EncodeHead(), AMQP_STATUS_OK);

    const Pieces all = All(frames);

    EXPECT_TRUE(all.octets == outgoing.Expected(mostOctets)) << outgoing.body.size() << ", " << outgoing.header.size();
    EXPECT_EQ(all.calls, calls) << outgoing.body.size();
}

} // namespace

TEST(MessageFrames, AreWholeForBodiesUpToSeveralFrames)
{
    for (std::size_t size = 0; size <= 3 * frameMax; size += size % fullBody < 8 || size % 1024 < 4 ? 1U : 3U)
    {
        ExpectWhole(Outgoing(size), 1);
    }
}

TEST(MessageFrames, AreAtMost64ToACall)
{
    for (const std::size_t calls : {1U, 2U, 5U})
    {
        const std::size_t size = calls * MessageFrames::mostFrames * fullBody;
        ExpectWhole(Outgoing(size - fullBody), calls);
        ExpectWhole(Outgoing(size - 1), calls);
        ExpectWhole(Outgoing(size), calls);
        ExpectWhole(Outgoing(size + 1), calls + 1);
        ExpectWhole(Outgoing(size + fullBody), calls + 1);
    }
}

TEST(MessageFrames, AreWholeWithAHeadOfAnySize)
{
    constexpr std::size_t largeFrameMax = 131072;
    for (const std::size_t headerSize : {std::size_t{1}, std::size_t{3900}, MessageFrames::mostOfHead,
                                         2 * MessageFrames::mostOfHead, largeFrameMax - 64})
    {
        for (const std::size_t bodySize : {std::size_t{0}, std::size_t{1}, MessageFrames::mostCopied,
                                           MessageFrames::mostCopied + 1, 3 * largeFrameMax})
        {
            ExpectWhole(Outgoing(bodySize, headerSize), 1, largeFrameMax);
        }
    }
}

// The head grows byte by byte beyond the limit, up to the longest header that fits a frame of the smallest size. The
// frames that follow the longest header need several calls.
TEST(MessageFrames, AreWholeWithAHeadAroundTheLimitOfItsPlace)
{
    for (std::size_t headerSize = 3950; headerSize <= 4058; ++headerSize)
    {
        ExpectWhole(Outgoing(MessageFrames::mostCopied, headerSize), 1);
    }
    ExpectWhole(Outgoing(2 * MessageFrames::mostFrames * fullBody + 1, 4058), 3);
}

TEST(MessageFrames, TakeMemoryOnlyForALongHead)
{
    MessageFrames::Room room;
    const Outgoing longHead(0, 4050);
    for (const bool isLong : {false, true, false})
    {
        const Outgoing shortHead(2 * fullBody);
        const Amqp::OutgoingMessage message = isLong ? longHead.Message() : shortHead.Message();
        const std::size_t before = room.large.size();

        MessageFrames frames(itsChannel, message, frameMax, room);
        EXPECT_EQ(frames.EncodeHead(), AMQP_STATUS_OK);

        EXPECT_EQ(room.large.size() > before, isLong);
    }
}

TEST(MessageFrames, AreNoneOfPropertiesThatFitNoFrame)
{
    MessageFrames::Room room;
    const Outgoing outgoing(0, std::size_t{1} << 20);
    const Amqp::OutgoingMessage message = outgoing.Message();

    EXPECT_LT(MessageFrames(itsChannel, message, frameMax, room).EncodeHead(), 0);
}

TEST(MessageFrames, CopyNoBodyButASmallOne)
{
    const auto firstOfBody = [](const Outgoing& outgoing)
    {
        MessageFrames::Room room;
        const Amqp::OutgoingMessage message = outgoing.Message();
        MessageFrames frames(itsChannel, message, frameMax, room);
        EXPECT_EQ(frames.EncodeHead(), AMQP_STATUS_OK);
        std::size_t inPlace = 0;
        for (const std::string_view piece : frames.Next())
        {
            const bool lies =
                piece.data() >= outgoing.body.data() && piece.data() < outgoing.body.data() + outgoing.body.size();
            inPlace += lies ? piece.size() : 0;
        }
        return inPlace;
    };
    constexpr std::size_t copied = MessageFrames::mostCopied;

    EXPECT_EQ(firstOfBody(Outgoing(copied)), 0U);
    EXPECT_EQ(firstOfBody(Outgoing(copied + 1)), copied + 1);
    EXPECT_EQ(firstOfBody(Outgoing(2 * fullBody + copied)), 2 * fullBody);
    EXPECT_EQ(firstOfBody(Outgoing(2 * fullBody + copied + 1)), 2 * fullBody + copied + 1);
    EXPECT_EQ(firstOfBody(Outgoing(copied + 1, 4050)), copied + 1);
}
