// Which messages are written past rabbitmq-c, and which parts of them are copied.
#include "ClientSocket.hpp"
#include "LoginOptions.hpp"
#include "Messaging.hpp"
#include "Transport.hpp"
#include "connection/MessageFrames.hpp"
#include "values/FieldCodec.hpp"

#include <algorithm>
#include <string>
#include <thread>

namespace
{

using namespace Transport;

constexpr std::size_t most = 4096; // octets of the method and the properties

Amqp::Envelope WithLongHeader(std::size_t size)
{
    Amqp::Envelope envelope("body", Amqp::MetaData::Persistent);
    envelope.Headers().Insert("long", std::string(size, 'h'));
    return envelope;
}

} // namespace

TEST(DirectWrite, IsHowAMessageOverTcpIsWritten)
{
    throughRabbitMqC = 0;

    FramesOf(PublishSizes, Way::Direct);
    FramesOf(PublishSizes, Way::InABatch);

    EXPECT_EQ(throughRabbitMqC, 0U);
}

TEST(DirectWrite, IsNotHowManyHeadersAreWritten)
{
    constexpr int largeFrameMax = 131072;
    const auto publish = [](Amqp::Channel& channel)
    {
        channel.Publish("", "q", WithLongHeader(most / 2), 0, {});
        channel.Publish("", "q", WithLongHeader(most), 0, {});
        channel.Publish("", "q", WithLongHeader(most / 2), 0, {});
    };
    throughRabbitMqC = 0;

    const auto frames = FramesOf(publish, Way::Direct, largeFrameMax);
    EXPECT_EQ(throughRabbitMqC, 1U);

    EXPECT_EQ(FramesOf(publish, Way::ThroughRabbitMqC, largeFrameMax), frames);
    EXPECT_EQ(frames.size(), 3U * 3 + 1);
}

// With it rabbitmq-c takes in what has come, which nobody else reads on a connection that only publishes.
TEST(DirectWrite, IsNotHowTheMessageAfterALookAtThePeerIsWritten)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login({.heartbeat = 1});
            peer.OpenChannel(1);
            SendHeartbeatsFor(peer, 2100ms);
            for (int message = 0; message < 3; ++message)
            {
                peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties(), "body");
            }
            peer.CloseChannel(1);
            peer.CloseConnection();
        });
    const auto channel = OpenChannel(LogIn(broker, {.heartbeat = 1s}));
    const auto publish = [&] { channel->Publish("", "q", "body", 0, {}); };
    throughRabbitMqC = 0;

    publish();
    EXPECT_EQ(throughRabbitMqC, 0U);
    std::this_thread::sleep_for(2200ms);
    const int unread = Unread(SocketTo(broker.Port()));

    publish();
    EXPECT_EQ(throughRabbitMqC, 1U);
    EXPECT_LT(Unread(SocketTo(broker.Port())), unread);
    publish();
    EXPECT_EQ(throughRabbitMqC, 1U);
}

TEST(DirectWrite, HasNoRoomForManyHeaders)
{
    Amqp::Table headers;
    headers.Insert("long", std::string(most, 'h'));
    const Amqp::EncodedTable encoded(headers);
    amqp_basic_properties_t properties{};
    properties._flags = AMQP_BASIC_HEADERS_FLAG;
    properties.headers = encoded.Get();
    const Amqp::OutgoingMessage message{"", "q", 0, properties, ""};

    EXPECT_FALSE(Amqp::MessageFrames(1, message, smallestFrameMax).EncodeHead());
}

TEST(DirectWrite, CopiesNoBodyButASmallOne)
{
    const std::string body(std::size_t{2} * smallestFrameMax, 'b');
    const amqp_basic_properties_t properties{};
    const auto bodyPiece = [&](std::size_t size)
    {
        const Amqp::OutgoingMessage message{"", "q", 0, properties, {body.data(), size}};
        Amqp::MessageFrames frames(1, message, smallestFrameMax);
        EXPECT_TRUE(frames.EncodeHead());
        return frames.Next()[1];
    };

    EXPECT_TRUE(bodyPiece(copied).empty());
    for (const std::size_t size : {copied + 1, body.size()})
    {
        EXPECT_EQ(bodyPiece(size).data(), body.data());
        EXPECT_EQ(bodyPiece(size).size(), std::min<std::size_t>(size, smallestFrameMax - 8));
    }
}
