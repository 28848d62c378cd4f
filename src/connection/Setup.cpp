// From nothing to a connection that is logged in, and back.
#include "connection/ConnectionImpl.hpp"

#include "connection/ErrorTranslation.hpp"
#include "connection/SocketOptions.hpp"
#include "values/Bytes.hpp"
#include "values/FieldCodec.hpp"
#include "values/Texts.hpp"

#include <stdexcept>

namespace Amqp
{

namespace
{

constexpr int noChannelLimit = 0;

void OpenSocket(amqp_socket_t* socket, const char* host, unsigned short port, const char* refusal)
{
    if (amqp_socket_open(socket, host, port) != AMQP_STATUS_OK)
    {
        throw std::runtime_error(refusal);
    }
}

} // namespace

timeval ToTimeval(std::chrono::microseconds duration)
{
    constexpr std::int64_t perSecond = 1'000'000;
    timeval split{};
    split.tv_sec = static_cast<std::int32_t>(duration.count() / perSecond);
    split.tv_usec = static_cast<std::int32_t>(duration.count() % perSecond);
    return split;
}

Connection::ConnectionImpl::ConnectionImpl(const Table& properties, std::chrono::microseconds timeout)
    : state(amqp_new_connection()), consumeTimeout(ToTimeval(timeout))
{
    if (!state)
    {
        throw std::runtime_error(ownTexts.noConnectionState);
    }
    clientProperties = properties;
    // Refused here, before anything is sent: rabbitmq-c would send a table that no broker can read.
    if (!WireSize(EncodedTable(clientProperties).Get()))
    {
        throw FromStatus(AMQP_STATUS_BAD_AMQP_DATA);
    }
}

Connection::ConnectionImpl::~ConnectionImpl()
{
    SayGoodbye();
    subscriptions.clear();
    pendingReturns.clear();
}

void Connection::ConnectionImpl::SayGoodbye()
{
    if (amqp_get_socket(State()) == nullptr)
    {
        return; // rabbitmq-c can say nothing on a connection that never got a socket
    }
    if (PeerListens())
    {
        amqp_connection_close(State(), AMQP_REPLY_SUCCESS);
        return;
    }
    // No answer can be waited for on a connection that has ended: the broker is told if it can be without waiting.
    const int socket = amqp_get_sockfd(State());
    if (fatalStatus == AMQP_STATUS_HEARTBEAT_TIMEOUT || !Socket::AwaitWritable(socket, std::chrono::milliseconds(0)))
    {
        return;
    }
    amqp_connection_close_t close{};
    close.reply_code = AMQP_REPLY_SUCCESS;
    close.reply_text = ToBytes("200");
    amqp_send_method(State(), 0, AMQP_CONNECTION_CLOSE_METHOD, &close);
}

void Connection::ConnectionImpl::OpenTcp(const char* host, unsigned short port)
{
    amqp_socket_t* const socket = amqp_tcp_socket_new(State());
    if (socket == nullptr)
    {
        throw std::runtime_error(ownTexts.noTcpSocket);
    }
    OpenSocket(socket, host, port, ownTexts.tcpSocketNotOpened);
    plainTcp = true;
    gathering.Start(State());
}

void Connection::ConnectionImpl::OpenTls(const char* host, unsigned short port)
{
    amqp_socket_t* const socket = amqp_ssl_socket_new(State());
    if (socket == nullptr)
    {
        throw std::runtime_error(ownTexts.noTlsSocket);
    }
    OpenSocket(socket, host, port, ownTexts.tlsSocketNotOpened);
}

void Connection::ConnectionImpl::LogIn(const Login& login)
{
    const auto heartbeat = static_cast<int>(login.heartbeat.count());
    const EncodedTable properties(clientProperties);
    // SASL EXTERNAL takes one credential and does not look at the second.
    const amqp_rpc_reply_t reply =
        clientProperties.Empty()
            ? amqp_login(State(), login.virtualHost, noChannelLimit, login.frameMax, heartbeat, login.method,
                         login.user, login.password)
            : amqp_login_with_properties(State(), login.virtualHost, noChannelLimit, login.frameMax, heartbeat,
                                         &properties.Get(), login.method, login.user, login.password);
    if (ErrorCode error = FromReply(reply))
    {
        NoteFailure(0, reply);
        throw error;
    }
    frameMax = static_cast<std::size_t>(amqp_get_frame_max(State()));
    peer.Start(State(), std::chrono::seconds(amqp_get_heartbeat(State())));
}

} // namespace Amqp
