// How a message gets onto the wire. Over TCP mostly past rabbitmq-c, which would make a system call for the method and
// one for the properties, and copy the body: the kernel takes all of it in one call. Through rabbitmq-c over TLS, with
// large headers, and with heartbeats once in two intervals: it reads in a publish when it has not read for so long, and
// on a connection that only publishes nobody else reads. It writes frame by frame where the socket is short of room, so
// that it never waits for a peer that has fallen silent.
#include "connection/ConnectionImpl.hpp"

#include "connection/MessageFrames.hpp"
#include "connection/SocketOptions.hpp"
#include "values/Bytes.hpp"

#include <algorithm>

namespace Amqp
{

namespace
{

// The method, and the properties but for headers: some texts of up to 255 bytes.
constexpr std::size_t smallFrames = 4096;

// How long to wait for room in the middle of a message before the peer is looked at again.
constexpr std::chrono::milliseconds betweenLooks(100);

// Lets the socket fail when what is written meanwhile is not taken in time.
class LimitedWrite
{
public:
    LimitedWrite(amqp_connection_state_t connection, std::chrono::milliseconds limit) : state(connection)
    {
        Socket::WriteLimit(amqp_get_sockfd(state), limit);
    }
    ~LimitedWrite() { Socket::WriteLimit(amqp_get_sockfd(state), std::chrono::milliseconds(0)); }
    LimitedWrite(const LimitedWrite&) = delete;
    LimitedWrite& operator=(const LimitedWrite&) = delete;

private:
    amqp_connection_state_t state;
};

} // namespace

int Connection::ConnectionImpl::Write(std::uint16_t channel, const OutgoingMessage& message)
{
    if (!gathering.IsOn())
    {
        return WriteMessage(channel, message);
    }
    int status = AMQP_STATUS_OK;
    if (message.body.size() < gatheredBelow)
    {
        status = WriteMessage(channel, message);
    }
    else
    {
        const Gathering::Pause pause(gathering);
        status = WriteMessage(channel, message);
    }
    gathering.Wrote(message.body.size());
    return status;
}

int Connection::ConnectionImpl::WriteMessage(std::uint16_t channel, const OutgoingMessage& message)
{
    MessageFrames frames(channel, message, frameMax);
    const bool direct = plainTcp && !peer.IsDue() && frames.EncodeHead();
    return direct ? WriteDirectly(frames) : WriteThroughRabbitMqC(channel, message);
}

int Connection::ConnectionImpl::WriteDirectly(MessageFrames& frames)
{
    int status = AMQP_STATUS_OK;
    while (status == AMQP_STATUS_OK && frames.HasNext())
    {
        MessageFrames::Pieces pieces = frames.Next();
        status = HandOver(pieces, frames.HasNext());
    }
    return status;
}

// Room is waited for here, since rabbitmq-c would not look at the peer meanwhile.
int Connection::ConnectionImpl::HandOver(std::span<std::string_view> pieces, bool more)
{
    for (;;)
    {
        const int socket = amqp_get_sockfd(State());
        std::ptrdiff_t sent = Socket::Send(socket, pieces, more);
        if (sent < 0)
        {
            return AMQP_STATUS_SOCKET_ERROR;
        }
        std::size_t left = 0;
        for (std::string_view& piece : pieces)
        {
            const auto taken = std::min(static_cast<std::size_t>(sent), piece.size());
            piece.remove_prefix(taken);
            sent -= static_cast<std::ptrdiff_t>(taken);
            left += piece.size();
        }
        if (left == 0)
        {
            return AMQP_STATUS_OK;
        }
        if (peer.Await(left) == PeerWatch::Room::Silent)
        {
            return GiveUpPeer();
        }
        Socket::AwaitWritable(socket, betweenLooks);
    }
}

int Connection::ConnectionImpl::WriteThroughRabbitMqC(std::uint16_t channel, const OutgoingMessage& message)
{
    const bool headers = (message.properties._flags & AMQP_BASIC_HEADERS_FLAG) != 0;
    switch (peer.Await(message.body.size() + smallFrames + (headers ? frameMax : 0)))
    {
    case PeerWatch::Room::Enough:
        return WriteAtOnce(channel, message);
    case PeerWatch::Room::Tight:
        return WriteFrameByFrame(channel, message);
    default:
        return GiveUpPeer();
    }
}

int Connection::ConnectionImpl::WriteAtOnce(std::uint16_t channel, const OutgoingMessage& message)
{
    const int status =
        amqp_basic_publish(State(), channel, ToBytes(message.exchange), ToBytes(message.routingKey), message.mandatory,
                           /*immediate*/ 0, &message.properties, ToBytes(message.body));
    peer.HasBeenRead();
    // rabbitmq-c announces more after each full frame, even after the last one, and the kernel would wait for it.
    const std::size_t full = frameMax - frameOverhead;
    const bool gathered = gathering.IsOn() && message.body.size() < gatheredBelow;
    if (!gathered && message.body.size() >= full && message.body.size() % full == 0)
    {
        Socket::Push(amqp_get_sockfd(State()));
    }
    return status;
}

int Connection::ConnectionImpl::WriteFrameByFrame(std::uint16_t channel, const OutgoingMessage& message)
{
    amqp_basic_publish_t publish = PublishMethod(message);
    amqp_frame_t frame{};
    frame.channel = channel;
    frame.frame_type = AMQP_FRAME_METHOD;
    frame.payload.method = {AMQP_BASIC_PUBLISH_METHOD, &publish};
    int status = WriteFrame(frame, smallFrames);

    if (status == AMQP_STATUS_OK)
    {
        amqp_basic_properties_t properties = message.properties;
        frame.frame_type = AMQP_FRAME_HEADER;
        frame.payload.properties = {AMQP_BASIC_CLASS, message.body.size(), &properties, amqp_empty_bytes};
        const bool headers = (properties._flags & AMQP_BASIC_HEADERS_FLAG) != 0;
        status = WriteFrame(frame, headers ? frameMax : smallFrames);
    }

    // A frame that does not fit is made smaller: within one rabbitmq-c waits for the peer without looking at it.
    const std::size_t most = frameMax - frameOverhead;
    const std::size_t small = smallFrames - frameOverhead;
    frame.frame_type = AMQP_FRAME_BODY;
    for (std::string_view rest = message.body; status == AMQP_STATUS_OK && !rest.empty();)
    {
        const bool fits = peer.Await(std::min(most, rest.size()) + frameOverhead) == PeerWatch::Room::Enough;
        const std::string_view slice = rest.substr(0, fits ? most : small);
        frame.payload.body_fragment = ToBytes(slice);
        status = fits ? amqp_send_frame(State(), &frame) : WriteFrame(frame, smallFrames);
        rest.remove_prefix(slice.size());
    }
    return status;
}

int Connection::ConnectionImpl::WriteFrame(const amqp_frame_t& frame, std::size_t octets)
{
    switch (peer.Await(octets))
    {
    case PeerWatch::Room::Enough:
        return amqp_send_frame(State(), &frame);
    case PeerWatch::Room::Tight:
    {
        const LimitedWrite limited(State(), peer.Patience());
        return amqp_send_frame(State(), &frame);
    }
    default:
        return GiveUpPeer();
    }
}

void Connection::ConnectionImpl::SendAtOnce(std::uint16_t channel, amqp_method_number_t method, void* fields)
{
    const Gathering::Pause pause(gathering);
    amqp_send_method(State(), channel, method, fields);
}

int Connection::ConnectionImpl::GiveUpPeer()
{
    fatalStatus = AMQP_STATUS_HEARTBEAT_TIMEOUT;
    return fatalStatus;
}

bool Connection::ConnectionImpl::PeerListens()
{
    if (fatalStatus == AMQP_STATUS_OK && peer.Await(smallFrames) == PeerWatch::Room::Silent)
    {
        GiveUpPeer();
    }
    return fatalStatus == AMQP_STATUS_OK;
}

} // namespace Amqp
