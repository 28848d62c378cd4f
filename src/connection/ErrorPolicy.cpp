// Decides whether an error is reported to a channel's notifier or thrown; no other file does.
#include "connection/ConnectionImpl.hpp"

#include "connection/ErrorTranslation.hpp"
#include "values/Texts.hpp"

#include <functional>
#include <memory>
#include <utility>

namespace Amqp
{

namespace
{

using Notifier = std::function<void(ErrorCode&&)>;

// Reports an error to the notifier of `channel`. The notifier may destroy the channel, which owns the notifier. So the
// parameter keeps the notifier alive until it returns. A channel that is held by std::shared_ptr is kept alive, too.
void Notify(const Channel& channel, const std::shared_ptr<const Notifier>& notifier, ErrorCode error)
{
    const auto kept = channel.weak_from_this().lock();
    (*notifier)(std::move(error));
}

} // namespace

bool Connection::ConnectionImpl::Judge(Reach reach, ErrorCode&& error, Channel* channel)
{
    const std::uint16_t number = channel != nullptr ? channel->Token() : std::uint16_t{0};
    switch (reach)
    {
    case Reach::Channel:
        channels.Drop(number);
        Notify(*channel, channel->HoldNotifier(), std::move(error));
        return false;
    case Reach::ChannelThatCloses:
        Notify(*channel, channel->HoldNotifier(), std::move(error));
        channels.Drop(number);
        return false;
    case Reach::Method:
        channels.Drop(number);
        break;
    case Reach::Connection:
        channels.DropAll();
        break;
    case Reach::Caller:
        break;
    }
    throw ErrorCode(std::move(error));
}

bool Connection::ConnectionImpl::CheckReply(Channel& channel, const amqp_rpc_reply_t& reply)
{
    const std::uint16_t number = channel.Token();
    // Note the close before anything else: the error allocates its text, and may throw std::bad_alloc.
    const bool byServer = reply.reply_type == AMQP_RESPONSE_SERVER_EXCEPTION;
    const bool closesChannel = byServer && reply.reply.id == AMQP_CHANNEL_CLOSE_METHOD;
    if (closesChannel)
    {
        amqp_channel_close_ok_t closeOk{};
        writer.Answer(number, AMQP_CHANNEL_CLOSE_OK_METHOD, &closeOk);
        channels.Close(number);
    }
    else if (byServer && reply.reply.id == AMQP_CONNECTION_CLOSE_METHOD)
    {
        // Send the close-ok on the channel's own number: brokers accept a close-ok there as well as on channel 0.
        amqp_connection_close_ok_t closeOk{};
        writer.Answer(number, AMQP_CONNECTION_CLOSE_OK_METHOD, &closeOk);
        session.Fail(AMQP_STATUS_CONNECTION_CLOSED);
    }
    ErrorCode error = FromReply(reply);
    if (error.category == ErrorCode::Success)
    {
        return true;
    }
    return closesChannel ? Judge(Reach::Channel, std::move(error), &channel)
                         : Judge(Reach::Connection, std::move(error), nullptr);
}

bool Connection::ConnectionImpl::CheckStatus(int status, Channel* channel)
{
    if (status >= 0)
    {
        return true;
    }
    if (channel == nullptr)
    {
        return Judge(Reach::Connection, FromStatus(status), nullptr);
    }
    return Judge(Reach::Channel, FromStatus(status), channel);
}

void Connection::ConnectionImpl::RequireUsable()
{
    if (session.Failure() != AMQP_STATUS_OK)
    {
        Judge(Reach::Connection, FromReply(LibraryException(session.Failure())), nullptr);
    }
}

void Connection::ConnectionImpl::RequireNotClosed(Channel& channel)
{
    const std::uint16_t number = channel.Token();
    // FindParkedClose may call the notifier, which may release the last reference to the connection. So keep the
    // connection alive until this function returns.
    const auto kept = inbound.HasParked() ? channel.Hold() : nullptr;
    FindParkedClose(number);
    if (channels.IsClosed(number))
    {
        Judge(Reach::Caller, {ownTexts.channelIsClosed, ErrorCode::ChannelClosed, AMQP_CHANNEL_ERROR}, nullptr);
    }
}

// Handles a channel.close that is parked. Call this function before anything is sent on the channel: after its
// channel.close, the broker would not reply.
void Connection::ConnectionImpl::FindParkedClose(std::uint16_t number)
{
    if (!inbound.HasParked())
    {
        return; // mostly; an Event would cost every publish
    }
    Event close;
    if (inbound.TakeParkedClose(close, number, AMQP_CHANNEL_CLOSE_METHOD))
    {
        Handle(close);
    }
}

} // namespace Amqp
