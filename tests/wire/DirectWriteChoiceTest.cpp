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

constexpr std::size_t most = Amqp::MessageFrames::mostOfHead;
constexpr int heartbeatOctets = 8;
constexpr std::size_t copied = Amqp::MessageFrames::mostCopied;

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

// rabbitmq-c takes in what has come then, which nobody else reads on a connection that only publishes. It does so even
// if the peer is looked at meanwhile, since large messages find no room at once.
TEST(DirectWrite, IsNotHowAMessageIsWrittenOnceInTwoIntervals)
{
    constexpr int many = 25;
    const std::string large(1 << 20, 'l');
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login({.heartbeat = 1});
            peer.OpenChannel(1);
            for (int message = 0; message < many; ++message)
            {
                peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties(), large);
                peer.SendHeartbeat();
                peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties(), "small");
            }
            peer.CloseChannel(1);
            peer.CloseConnection();
        });
    broker.Deadline(20s);
    const auto channel = OpenChannel(LogIn(broker, {.heartbeat = 1s}));
    const int socket = SocketTo(broker.Port());
    ShrinkSendBuffer(socket, 262144);
    throughRabbitMqC = 0;
    const auto start = std::chrono::steady_clock::now();

    for (int message = 0; message < many; ++message)
    {
        channel->Publish("", "q", large, 0, {});
        std::this_thread::sleep_for(100ms);
        channel->Publish("", "q", "small", 0, {});
    }

    EXPECT_GE(throughRabbitMqC, 1U);
    EXPECT_LE(throughRabbitMqC, 1U + static_cast<std::size_t>((std::chrono::steady_clock::now() - start) / 2s));
    EXPECT_LT(Unread(socket), many * heartbeatOctets);
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
