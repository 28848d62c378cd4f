// Compares frames of methods and content headers with those of an encoder that was written without rabbitmq-c.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "engine/FrameEncoder.hpp"
#include "support/Content.hpp"
#include "values/Bytes.hpp"

namespace
{

using Amqp::FrameEncoder;
using Amqp::ToBytes;

constexpr std::size_t behind = 64; // bytes beyond what rabbitmq-c may use
constexpr char untouched = '\x55';

// A place with room for `size` bytes, as an encoder counts them.
struct Place
{
    explicit Place(std::size_t size) : octets(size + behind, untouched), encoder(octets.data(), size) {}

    std::string_view Written() const { return {octets.data(), static_cast<std::size_t>(encoder.next - octets.data())}; }

    std::string octets;
    FrameEncoder encoder;
};

amqp_basic_publish_t PublishTo(std::string_view exchange, std::string_view routingKey)
{
    amqp_basic_publish_t publish{};
    publish.exchange = ToBytes(exchange);
    publish.routing_key = ToBytes(routingKey);
    return publish;
}

std::string PublishFrame(std::uint16_t channel, const std::string& exchange, const std::string& routingKey)
{
    return Wire::FrameBytes(
        {Wire::methodFrame, channel, Wire::Encode(Wire::BasicPublish{.exchange = exchange, .routingKey = routingKey})});
}

} // namespace

TEST(FrameEncoder, WritesAMethodAsAFrame)
{
    for (const std::uint16_t channel : std::vector<std::uint16_t>{1, 258, 65535})
    {
        Place place(4096);
        amqp_basic_publish_t publish = PublishTo("exchange", "key");

        EXPECT_EQ(place.encoder.Method(channel, AMQP_BASIC_PUBLISH_METHOD, &publish), AMQP_STATUS_OK);

        EXPECT_EQ(place.Written(), PublishFrame(channel, "exchange", "key"));
    }
}

TEST(FrameEncoder, WritesAMethodWithoutFields)
{
    Place place(4096);
    amqp_channel_close_ok_t closeOk{};

    EXPECT_EQ(place.encoder.Method(7, AMQP_CHANNEL_CLOSE_OK_METHOD, &closeOk), AMQP_STATUS_OK);

    EXPECT_EQ(place.Written(), Wire::FrameBytes({Wire::methodFrame, 7, Wire::Encode(Wire::ChannelCloseOk{})}));
}

TEST(FrameEncoder, WritesAContentHeaderWithABodySizeOf64Bits)
{
    for (const std::uint64_t size : {std::uint64_t{0}, std::uint64_t{1}, 0x0102030405060708U, UINT64_MAX})
    {
        Place place(4096);
        amqp_basic_properties_t properties{};
        properties._flags = AMQP_BASIC_CONTENT_TYPE_FLAG | AMQP_BASIC_PRIORITY_FLAG;
        properties.content_type = ToBytes("text/plain");
        properties.priority = 9;

        EXPECT_EQ(place.encoder.Header(258, properties, size), AMQP_STATUS_OK);

        EXPECT_EQ(place.Written(),
                  Wire::FrameBytes({Wire::headerFrame, 258,
                                    Wire::EncodeHeader(
                                        {.bodySize = size,
                                         .properties = {.contentType = "text/plain", .priority = std::uint8_t{9}}})}));
    }
}

TEST(FrameEncoder, WritesOneFrameBehindTheOther)
{
    Place place(4096);
    amqp_basic_publish_t publish = PublishTo("", "q");

    EXPECT_EQ(place.encoder.Method(1, AMQP_BASIC_PUBLISH_METHOD, &publish), AMQP_STATUS_OK);
    EXPECT_EQ(place.encoder.Header(1, {}, 4), AMQP_STATUS_OK);
    place.encoder.Begin(AMQP_FRAME_BODY, 1, 4);
    for (const char octet : {'b', 'o', 'd', 'y'})
    {
        *place.encoder.next++ = octet;
    }
    place.encoder.End();

    EXPECT_EQ(place.Written(), PublishFrame(1, "", "q") + Wire::FrameBytes(Wire::ContentFrames(1, {}, "body")));
}

TEST(FrameEncoder, WritesASizeOf32Bits)
{
    Place place(4096);

    place.encoder.Begin(AMQP_FRAME_BODY, 0x0102, 0x03040506);

    EXPECT_EQ(place.Written(), "\x03\x01\x02\x03\x04\x05\x06");
}

// Fields of fixed size may be written behind the room: the place has bytes to spare there.
TEST(FrameEncoder, RefusesWhatDoesNotFitAndWritesNotFarBeyondItsRoom)
{
    const std::string longest(255, 'n');
    const std::size_t needed = PublishFrame(1, longest, longest).size() - 1; // without the frame's end
    amqp_basic_publish_t publish = PublishTo(longest, longest);

    for (std::size_t size = 0; size < needed; ++size)
    {
        Place place(size);
        EXPECT_NE(place.encoder.Method(1, AMQP_BASIC_PUBLISH_METHOD, &publish), AMQP_STATUS_OK) << size;
        const std::string_view beyond = std::string_view(place.octets).substr(size + 2 * Amqp::frameOverhead);
        EXPECT_EQ(beyond.find_first_not_of(untouched), std::string_view::npos) << size;
    }

    Place place(needed);
    EXPECT_EQ(place.encoder.Method(1, AMQP_BASIC_PUBLISH_METHOD, &publish), AMQP_STATUS_OK);
    EXPECT_EQ(place.Written(), PublishFrame(1, longest, longest));
}

TEST(FrameEncoder, RefusesPropertiesThatDoNotFit)
{
    const std::string longest(255, 'n');
    amqp_basic_properties_t properties{};
    properties._flags = AMQP_BASIC_MESSAGE_ID_FLAG;
    properties.message_id = ToBytes(longest);
    const std::size_t needed = Wire::FrameBytes(Wire::ContentFrames(1, {.messageId = longest}, "").front()).size() - 1;

    Place tooSmall(needed - 1);
    EXPECT_NE(tooSmall.encoder.Header(1, properties, 0), AMQP_STATUS_OK);

    Place place(needed);
    EXPECT_EQ(place.encoder.Header(1, properties, 0), AMQP_STATUS_OK);
    EXPECT_EQ(place.Written().size(), needed + 1);
}

TEST(FrameEncoder, RefusesAMethodThatRabbitMqCDoesNotKnow)
{
    Place place(4096);
    amqp_basic_publish_t publish{};

    EXPECT_EQ(place.encoder.Method(1, 0x00FF00FF, &publish), AMQP_STATUS_UNKNOWN_METHOD);
}
