// How a message gets onto the wire: at once where it fits into the socket, frame by frame where it does not, so that
// rabbitmq-c never waits for a peer that has fallen silent. A small message of a batch goes in one piece, past
// rabbitmq-c, whose encoders are used, and which need not know what has been written.
#include "connection/ConnectionImpl.hpp"

#include "connection/SocketOptions.hpp"
#include "connection/WholeMessage.hpp"
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
    const bool headers = (message.properties._flags & AMQP_BASIC_HEADERS_FLAG) != 0;
    int status = AMQP_STATUS_OK;
    switch (peer.Await(message.body.size() + smallFrames + (headers ? frameMax : 0)))
    {
    case PeerWatch::Room::Enough:
        status = WriteAtOnce(channel, message);
        break;
    case PeerWatch::Room::Tight:
        status = WriteFrameByFrame(channel, message);
        break;
    case PeerWatch::Room::Silent:
        return GiveUpPeer();
    }
    if (gathering.IsOn())
    {
        gathering.Wrote(message.body.size());
    }
    // rabbitmq-c announces more after each full frame, even after the last one, and the kernel would wait for it.
    else if (message.body.size() >= frameMax - frameOverhead && message.body.size() % (frameMax - frameOverhead) == 0)
    {
        Socket::Push(amqp_get_sockfd(State()));
    }
    return status;
}

int Connection::ConnectionImpl::WriteAtOnce(std::uint16_t channel, const OutgoingMessage& message)
{
    std::optional<Gathering::Pause> pause;
    if (gathering.IsOn() && message.body.size() >= gatheredBelow)
    {
        pause.emplace(gathering);
    }
    else if (const auto status = gathering.IsOn() ? WriteInOnePiece(channel, message) : std::nullopt)
    {
        return *status;
    }
    return amqp_basic_publish(State(), channel, ToBytes(message.exchange), ToBytes(message.routingKey),
                              message.mandatory, /*immediate*/ 0, &message.properties, ToBytes(message.body));
}

// Gives nothing when the message is too large, or when the socket fails before anything is written: rabbitmq-c writes
// it then, or finds out what is wrong. Room is waited for here, since rabbitmq-c would not look at the peer meanwhile.
std::optional<int> Connection::ConnectionImpl::WriteInOnePiece(std::uint16_t channel, const OutgoingMessage& message)
{
    WholeMessage whole;
    auto rest = whole.Encode(channel, message);
    const int socket = amqp_get_sockfd(State());
    std::ptrdiff_t sent = rest ? Socket::Send(socket, *rest) : -1;
    if (sent < 0)
    {
        return {};
    }
    for (rest->remove_prefix(static_cast<std::size_t>(sent)); !rest->empty();
         rest->remove_prefix(static_cast<std::size_t>(sent)))
    {
        if (peer.Await(rest->size()) == PeerWatch::Room::Silent)
        {
            return GiveUpPeer();
        }
        Socket::AwaitWritable(socket, betweenLooks);
        sent = Socket::Send(socket, *rest);
        if (sent < 0)
        {
            return AMQP_STATUS_SOCKET_ERROR;
        }
    }
    return AMQP_STATUS_OK;
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
