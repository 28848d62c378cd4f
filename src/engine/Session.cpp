#include "engine/Session.hpp"

#include "engine/Socket.hpp"
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

// After these failures rabbitmq-c has stopped in the middle of a frame. If rabbitmq-c read on, it would misread what
// follows, and write past the end of its buffer.
bool IsUnreadable(int status)
{
    return status == AMQP_STATUS_BAD_AMQP_DATA || status == AMQP_STATUS_UNKNOWN_CLASS ||
           status == AMQP_STATUS_UNKNOWN_METHOD || status == AMQP_STATUS_NO_MEMORY;
}

} // namespace

Session::Session() : state(amqp_new_connection())
{
    if (!state)
    {
        throw std::runtime_error(ownTexts.noConnectionState);
    }
}

void Session::OpenTcp(const char* host, unsigned short port)
{
    amqp_socket_t* const socket = amqp_tcp_socket_new(State());
    if (socket == nullptr)
    {
        throw std::runtime_error(ownTexts.noTcpSocket);
    }
    stream.Use(State());
    OpenSocket(socket, host, port, ownTexts.tcpSocketNotOpened);
}

void Session::OpenTls(const char* host, unsigned short port)
{
    amqp_socket_t* const socket = amqp_ssl_socket_new(State());
    if (socket == nullptr)
    {
        throw std::runtime_error(ownTexts.noTlsSocket);
    }
    stream.UseTls(State(), socket);
    OpenSocket(socket, host, port, ownTexts.tlsSocketNotOpened);
}

amqp_rpc_reply_t Session::LogIn(const Login& login, const Table& properties)
{
    const auto heartbeat = static_cast<int>(login.heartbeat.count());
    const EncodedTable encoded(properties);
    // For SASL EXTERNAL rabbitmq-c reads the identity only, and ignores the password.
    const amqp_rpc_reply_t reply =
        properties.Empty()
            ? amqp_login(State(), login.virtualHost, noChannelLimit, login.frameMax, heartbeat, login.method,
                         login.user, login.password)
            : amqp_login_with_properties(State(), login.virtualHost, noChannelLimit, login.frameMax, heartbeat,
                                         &encoded.Get(), login.method, login.user, login.password);
    if (reply.reply_type != AMQP_RESPONSE_NORMAL)
    {
        return reply;
    }
    frameMax = static_cast<std::size_t>(amqp_get_frame_max(State()));
    heartbeats.Start(std::chrono::seconds(amqp_get_heartbeat(State())), Clock::now());
    // Turn off rabbitmq-c's own heartbeats. rabbitmq-c would send one in the middle of a frame that Stream has not
    // written to its end, and would read inside its writes.
    const int tuned =
        amqp_tune_connection(State(), amqp_get_channel_max(State()), amqp_get_frame_max(State()), /*heartbeat*/ 0);
    if (tuned != AMQP_STATUS_OK)
    {
        amqp_rpc_reply_t failed{};
        failed.reply_type = AMQP_RESPONSE_LIBRARY_EXCEPTION;
        failed.library_error = tuned;
        return failed;
    }
    return reply;
}

int Session::Fail(int status)
{
    if (failure == AMQP_STATUS_OK || (IsUnreadable(status) && !IsUnreadable(failure)))
    {
        failure = status;
    }
    return failure;
}

int Session::GiveUpPeer()
{
    Socket::Shut(Descriptor());
    return Fail(AMQP_STATUS_HEARTBEAT_TIMEOUT);
}

bool Session::IsReadable() const
{
    return !IsUnreadable(failure);
}

} // namespace Amqp
