#include "Transport.hpp"

#include "Messaging.hpp"
#include "OverTls.hpp"
#include "engine/MessageFrames.hpp"
#include "support/BareClient.hpp"
#include "values/Bytes.hpp"
#include "values/PropertiesCodec.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <dlfcn.h>
#include <optional>
#include <sys/socket.h>
#include <sys/uio.h>
#include <thread>
#include <utility>

namespace Transport
{

std::size_t atOnce = SIZE_MAX;
thread_local std::size_t writes = 0;
thread_local std::vector<bool> announced;
thread_local bool endsRecords = false;
thread_local std::size_t refusals = 0;
thread_local std::chrono::milliseconds delay{0};

namespace
{

template <typename Function>
Function* Real(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void NoteWrite(int flags)
{
    ++writes;
    announced.push_back((flags & MSG_MORE) != 0);
}

// Notes the frames on channel 1 until the client purges a queue "end".
ScriptedBroker::Script Note(std::vector<Frame>& frames, bool tls, int frameMax)
{
    return [&frames, tls, frameMax](Dialogue& peer)
    {
        peer.Login(LoginOver(tls, {.frameMax = static_cast<std::uint32_t>(frameMax)}));
        peer.OpenChannel(1);
        const std::string end = Encode(QueuePurge{.queue = "end"});
        for (frames.push_back(peer.ReadFrame()); frames.back().payload != end; frames.push_back(peer.ReadFrame()))
        {
        }
        peer.Send(1, QueuePurgeOk{});
        peer.Receive<ChannelClose>(1);
        peer.Send(1, ChannelCloseOk{});
        peer.Receive<ConnectionClose>(0);
        peer.Send(0, ConnectionCloseOk{});
    };
}

} // namespace

Published Publish(const std::vector<Message>& messages, Way way, int frameMax)
{
    const bool tls = way == Way::OverTls;
    Published published;
    ScriptedBroker broker(Note(published.frames, tls, frameMax), {.tls = tls});
    {
        const auto channel = OpenChannel(LogIn(broker, {.frameMax = frameMax}, tls));
        std::optional<Amqp::Batch> batch;
        if (way == Way::InABatch)
        {
            batch.emplace(*channel);
        }
        for (const Message& message : messages)
        {
            Amqp::Envelope envelope = message.envelope;
            envelope.SetBody(message.body.data(), message.body.size());
            const std::size_t before = writes;
            channel->Publish(message.exchange, message.routingKey, envelope, 0,
                             message.hasCallback ? Unexpected() : Amqp::PublishCallback());
            published.writes.push_back(writes - before);
        }
        channel->PurgeQueue("end");
    }
    broker.Finish();
    return published;
}

std::vector<Frame> FramesOfRabbitMqC(const std::vector<Message>& messages, int frameMax)
{
    std::vector<Frame> frames;
    ScriptedBroker broker(Note(frames, /*tls*/ false, frameMax));
    {
        BareClient client({.port = broker.Port()}, frameMax);
        int callbacks = 0;
        for (const Message& message : messages)
        {
            Amqp::EncodedProperties properties = Amqp::EncodeProperties(message.envelope);
            std::string number;
            if (message.hasCallback)
            {
                number = std::to_string(++callbacks);
                properties.value.message_id = Amqp::ToBytes(number);
                properties.value._flags |= AMQP_BASIC_MESSAGE_ID_FLAG;
            }
            client.Publish(message.exchange, message.routingKey, properties.value, message.body, message.hasCallback);
        }
        amqp_queue_purge(client.State(), 1, Amqp::ToBytes("end"));
        client.CloseChannel(1);
    }
    broker.Finish();
    return frames;
}

std::vector<Message> MessagesOfAllShapes()
{
    constexpr std::size_t full = smallestFrameMax - 8;
    constexpr std::size_t copied = Amqp::MessageFrames::mostCopied;
    std::vector<Message> messages;
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, copied, copied + 1, full - 1, full, full + 1,
                                   full + copied, full + copied + 1, 2 * full, 2 * full + 1})
    {
        messages.push_back({.body = std::string(size, 'b')});
    }
    return messages;
}

} // namespace Transport

ssize_t send(int socket, const void* bytes, std::size_t size, int flags)
{
    Transport::NoteWrite(flags);
    if (Transport::refusals > 0)
    {
        --Transport::refusals;
        errno = EAGAIN;
        return -1;
    }
    const int ending = Transport::endsRecords ? MSG_EOR : 0;
    return Transport::Real<decltype(send)>("send")(socket, bytes, std::min(size, Transport::atOnce), flags | ending);
}

ssize_t recv(int socket, void* place, std::size_t size, int flags)
{
    std::this_thread::sleep_for(std::exchange(Transport::delay, 0ms));
    return Transport::Real<decltype(recv)>("recv")(socket, place, size, flags);
}

ssize_t sendmsg(int socket, const msghdr* message, int flags)
{
    Transport::NoteWrite(flags);
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
