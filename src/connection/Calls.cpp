// Calls that await the broker's reply; and the opening and closing of channels, which are such calls.
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
    // A close that is parked, or comes to be while the socket is looked at or there is no room in it, is the answer.
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
        return; // nobody would answer, or the answer could not be read
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
            inbound.Park(std::move(reply)); // for the next step
        }
    }
    catch (...)
    {
        // What arrived meanwhile may be lost, and with it what a later step has to know.
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
