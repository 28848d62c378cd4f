// Opens, logs in and closes a connection.
#include "connection/ConnectionImpl.hpp"

#include "connection/ErrorTranslation.hpp"
#include "values/Bytes.hpp"
#include "values/FieldCodec.hpp"

namespace Amqp
{

timeval ToTimeval(std::chrono::microseconds duration)
{
    constexpr std::int64_t perSecond = 1'000'000;
    timeval split{};
    split.tv_sec = static_cast<std::int32_t>(duration.count() / perSecond);
    split.tv_usec = static_cast<std::int32_t>(duration.count() % perSecond);
    return split;
}

Connection::ConnectionImpl::ConnectionImpl(const Table& properties, std::chrono::microseconds timeout)
    : clientProperties(properties), consumeTimeout(ToTimeval(timeout))
{
    // A table with a key of more than 255 bytes has no size. Refuse the table before anything is sent: rabbitmq-c would
    // send bytes that no broker can read.
    if (!WireSize(EncodedTable(clientProperties).Get()))
    {
        throw FromStatus(AMQP_STATUS_BAD_AMQP_DATA);
    }
}

Connection::ConnectionImpl::~ConnectionImpl()
{
    SayGoodbye();
    consumers.Clear();
    returns.Clear();
}

void Connection::ConnectionImpl::SayGoodbye()
{
    if (!session.HasSocket() || writer.Usable() == AMQP_STATUS_HEARTBEAT_TIMEOUT)
    {
        return; // there is no socket, or the peer is silent and would not reply
    }
    amqp_connection_close_t close{};
    close.reply_code = AMQP_REPLY_SUCCESS;
    close.reply_text = ToBytes("200");
    Event reply;
    const bool loggedIn = session.FrameMax() != 0;
    if (!loggedIn || session.Failure() != AMQP_STATUS_OK ||
        inbound.TakeParkedClose(reply, 0, AMQP_CONNECTION_CLOSE_METHOD))
    {
        // The connection is not logged in or has failed, or the broker itself has sent connection.close: no reply would
        // arrive. So send connection.close only if that cannot block, and await no reply.
        writer.MethodIfRoom(0, AMQP_CONNECTION_CLOSE_METHOD, &close);
        return;
    }
    writer.Answer(0, AMQP_CONNECTION_CLOSE_METHOD, &close);
    if (inbound.TakeParkedClose(reply, 0, AMQP_CONNECTION_CLOSE_METHOD))
    {
        return; // it arrived while Answer waited for room
    }
    receiver.Reply(reply, 0, AMQP_CONNECTION_CLOSE_OK_METHOD, Receiver::Others::Drop);
}

void Connection::ConnectionImpl::OpenTcp(const char* host, unsigned short port)
{
    session.OpenTcp(host, port);
    writer.Start();
}

void Connection::ConnectionImpl::OpenTls(const char* host, unsigned short port)
{
    session.OpenTls(host, port);
    writer.Start();
}

void Connection::ConnectionImpl::LogIn(const Login& login)
{
    const amqp_rpc_reply_t reply = session.LogIn(login, clientProperties);
    if (ErrorCode error = FromReply(reply))
    {
        session.Fail(reply.reply_type == AMQP_RESPONSE_LIBRARY_EXCEPTION
                         ? reply.library_error
                         : static_cast<int>(AMQP_STATUS_CONNECTION_CLOSED));
        throw error;
    }
}

} // namespace Amqp
