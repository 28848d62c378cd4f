#include "Transport.hpp"

#include "OverTls.hpp"
#include "connection/MessageFrames.hpp"

#include <algorithm>
#include <cstdint>
#include <dlfcn.h>
#include <optional>
#include <sys/socket.h>
#include <sys/uio.h>

namespace Transport
{

std::size_t throughRabbitMqC = 0;
std::size_t atOnce = SIZE_MAX;

namespace
{

template <typename Function>
Function* Real(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

std::vector<Frame> FramesOf(const Publishing& publish, Way way, int frameMax)
{
    const bool tls = way == Way::ThroughRabbitMqC;
    std::vector<Frame> frames;
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login(LoginOver(tls, {.frameMax = static_cast<std::uint32_t>(frameMax)}));
            peer.OpenChannel(1);
            const std::string end = Encode(QueuePurge{.queue = "end"});
            for (frames.push_back(peer.ReadFrame()); frames.back().payload != end; frames.push_back(peer.ReadFrame()))
            {
            }
            peer.Send(1, QueuePurgeOk{});
            peer.CloseChannel(1);
            peer.CloseConnection();
        },
        {.tls = tls});
    {
        const auto channel = OpenChannel(LogIn(broker, {.frameMax = frameMax}, tls));
        std::optional<Amqp::Batch> batch;
        if (way == Way::InABatch)
        {
            batch.emplace(*channel);
        }
        publish(*channel);
        channel->PurgeQueue("end");
    }
    broker.Finish();
    return frames;
}

void PublishSizes(Amqp::Channel& channel)
{
    constexpr std::size_t full = smallestFrameMax - 8;
    constexpr std::size_t copied = Amqp::MessageFrames::mostCopied;
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, copied, copied + 1, full - 1, full, full + 1,
                                   full + copied, full + copied + 1, 2 * full, 2 * full + 1})
    {
        channel.Publish("", "q", std::string(size, 'b'), 0, {});
    }
}

} // namespace Transport

int AMQP_CALL amqp_basic_publish(amqp_connection_state_t state, amqp_channel_t channel, amqp_bytes_t exchange,
                                 amqp_bytes_t routingKey, amqp_boolean_t mandatory, amqp_boolean_t immediate,
                                 const amqp_basic_properties_t* properties, amqp_bytes_t body)
{
    ++Transport::throughRabbitMqC;
    return Transport::Real<decltype(amqp_basic_publish)>("amqp_basic_publish")(state, channel, exchange, routingKey,
                                                                               mandatory, immediate, properties, body);
}

ssize_t send(int socket, const void* octets, std::size_t size, int flags)
{
    return Transport::Real<decltype(send)>("send")(socket, octets, std::min(size, Transport::atOnce), flags);
}

ssize_t sendmsg(int socket, const msghdr* message, int flags)
{
    std::vector<iovec> pieces(message->msg_iov, message->msg_iov + message->msg_iovlen);
    std::size_t left = Transport::atOnce;
    for (iovec& piece : pieces)
    {
        piece.iov_len = std::min(piece.iov_len, left);
        left -= piece.iov_len;
    }
    msghdr limited = *message;
    limited.msg_iov = pieces.data();
    return Transport::Real<decltype(sendmsg)>("sendmsg")(socket, &limited, flags);
}
