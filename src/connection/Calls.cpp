// Makes calls, which await the broker's reply. Opening and closing a channel are calls, too.
#include "connection/ConnectionImpl.hpp"

#include "connection/ErrorTranslation.hpp"
#include "values/Bytes.hpp"

#include <algorithm>
#include <utility>

namespace Amqp
{

std::optional<Event> Connection::ConnectionImpl::Call(Channel& channel, std::initializer_list<std::string_view> texts,
                                                      const Request& request)
{
    RequireUsable();
    RequireNotClosed(channel);
    if (std::any_of(texts.begin(), texts.end(), IsTooLong))
    {
        CheckReply(channel, LibraryException(AMQP_STATUS_BAD_AMQP_DATA));
    }
    Event reply;
    const amqp_rpc_reply_t outcome = Ask(channel.Token(), request, reply);
    if (!CheckReply(channel, outcome))
    {
        return {};
    }
    return reply;
}

amqp_rpc_reply_t Connection::ConnectionImpl::Ask(std::uint16_t number, const Request& request, Event& reply)
{
    const Gathering::Pause pause(writer.Gathered());
    // After a close, the broker sends no reply. The close may be parked already. Usable and Method may also park a
    // close, because both can read what arrives. receiver.Reply passes over parked events and would wait for ever. So
    // take a parked close here: the close is then the outcome of the call.
    int status = writer.Usable();
    bool answered = inbound.TakeParkedClose(reply, 0, AMQP_CONNECTION_CLOSE_METHOD);
    if (status == AMQP_STATUS_OK && !answered)
    {
        status = writer.Method(number, request.method, request.fields);
        answered = inbound.TakeParkedClose(reply, 0, AMQP_CONNECTION_CLOSE_METHOD) ||
                   inbound.TakeParkedClose(reply, number, AMQP_CHANNEL_CLOSE_METHOD);
    }
    if (status == AMQP_STATUS_OK && !answered)
    {
        status = receiver.Reply(reply, number, request.reply, Receiver::Others::Park);
    }
    if (status != AMQP_STATUS_OK && !answered)
    {
        return LibraryException(status);
    }
    return reply.method.id == request.reply ? NormalReply() : ServerException(reply.method);
}

void Connection::ConnectionImpl::RegisterChannel(Channel& channel)
{
    RequireUsable();
    const std::uint16_t number = channels.NextNumber();
    amqp_channel_open_t open{};
    Event reply;
    const amqp_rpc_reply_t outcome = Ask(number, {AMQP_CHANNEL_OPEN_METHOD, &open, AMQP_CHANNEL_OPEN_OK_METHOD}, reply);
    if (CheckReply(channel, outcome))
    {
        channel.Token(number);
        channels.Add(number, channel);
    }
}

void Connection::ConnectionImpl::UnregisterChannel(const Channel& channel) noexcept
{
    const std::uint16_t number = channel.Token();
    if (channels.Find(number) == nullptr)
    {
        return;
    }
    channels.Close(number);
    channels.Drop(number);
    if (session.Failure() != AMQP_STATUS_OK)
    {
        return; // no reply would arrive, or the reply could not be read
    }
    amqp_channel_close_t close{};
    close.reply_code = AMQP_REPLY_SUCCESS;
    close.reply_text = ToBytes("200");
    try
    {
        Event reply;
        Ask(number, {AMQP_CHANNEL_CLOSE_METHOD, &close, AMQP_CHANNEL_CLOSE_OK_METHOD}, reply);
        if (reply.Is(0, AMQP_CONNECTION_CLOSE_METHOD))
        {
            inbound.Park(std::move(reply)); // the next step or call handles the close
        }
    }
    catch (...)
    {
        // An event that arrived during the call may be lost, a close for example. Later steps could not rely on what
        // they read, so the connection has failed.
        session.Fail(AMQP_STATUS_NO_MEMORY);
    }
}

void Connection::RegisterChannel(Channel& channel)
{
    impl->RegisterChannel(channel);
}

void Connection::UnregisterChannel(Channel& channel)
{
    impl->UnregisterChannel(channel);
}

} // namespace Amqp
