// The one place that decides whether an error is told to a channel or thrown.
#include "connection/ConnectionImpl.hpp"

#include "connection/ErrorTranslation.hpp"
#include "values/Bytes.hpp"
#include "values/Texts.hpp"

#include <algorithm>
#include <functional>
#include <memory>
#include <utility>

namespace Amqp
{

namespace
{

using Notifier = std::function<void(ErrorCode&&)>;

// Calls the notifier of `channel`. The notifier may destroy its channel, and with it itself: both are kept until it has
// returned, the channel if it is shared.
void Notify(const Channel& channel, const std::shared_ptr<const Notifier>& notifier, ErrorCode error)
{
    const auto kept = channel.weak_from_this().lock();
    (*notifier)(std::move(error));
}

// As rabbitmq-c reports that a call failed before its reply came.
amqp_rpc_reply_t LibraryException(int status)
{
    amqp_rpc_reply_t reply{};
    reply.reply_type = AMQP_RESPONSE_LIBRARY_EXCEPTION;
    reply.library_error = status;
    return reply;
}

// rabbitmq-c stops in the middle of a frame then: reading on would misread what follows, and write past the end of
// its buffer.
bool IsUnreadable(int status)
{
    return status == AMQP_STATUS_BAD_AMQP_DATA || status == AMQP_STATUS_UNKNOWN_CLASS ||
           status == AMQP_STATUS_UNKNOWN_METHOD || status == AMQP_STATUS_NO_MEMORY;
}

} // namespace

bool Connection::ConnectionImpl::CheckReply(Channel& channel, const amqp_rpc_reply_t& reply)
{
    NoteFailure(channel.Token(), reply);
    ErrorCode error = FromReply(reply);
    switch (error.category)
    {
    case ErrorCode::Success:
        return true;
    case ErrorCode::ChannelClosed:
    {
        amqp_channel_close_ok_t closeOk{};
        SendAtOnce(channel.Token(), AMQP_CHANNEL_CLOSE_OK_METHOD, &closeOk);
        channels.erase(channel.Token());
        Notify(channel, channel.HoldNotifier(), std::move(error));
        return false;
    }
    case ErrorCode::ConnectionClosed:
    {
        // On the channel's own number, where brokers take it as well as on 0.
        amqp_connection_close_ok_t closeOk{};
        SendAtOnce(channel.Token(), AMQP_CONNECTION_CLOSE_OK_METHOD, &closeOk);
        break;
    }
    default:
        break;
    }
    channels.clear();
    throw error;
}

bool Connection::ConnectionImpl::CheckStatus(int status, Channel* channel)
{
    if (status >= 0)
    {
        return true;
    }
    if (channel == nullptr)
    {
        NoteFailure(status);
        channels.clear();
        throw FromStatus(status);
    }
    channels.erase(channel->Token());
    Notify(*channel, channel->HoldNotifier(), FromStatus(status));
    return false;
}

void Connection::ConnectionImpl::NoteFailure(int status)
{
    // The first one counts; but what cannot be read may come after something that only ended the connection.
    if (fatalStatus == AMQP_STATUS_OK || (IsUnreadable(status) && !IsUnreadable(fatalStatus)))
    {
        fatalStatus = status;
    }
}

void Connection::ConnectionImpl::NoteFailure(std::uint16_t number, const amqp_rpc_reply_t& reply)
{
    if (reply.reply_type == AMQP_RESPONSE_LIBRARY_EXCEPTION)
    {
        NoteFailure(reply.library_error);
    }
    else if (reply.reply_type == AMQP_RESPONSE_SERVER_EXCEPTION)
    {
        if (reply.reply.id == AMQP_CHANNEL_CLOSE_METHOD)
        {
            MarkClosed(number, true);
        }
        else
        {
            NoteFailure(AMQP_STATUS_CONNECTION_CLOSED);
        }
    }
}

bool Connection::ConnectionImpl::HasReadable() const
{
    return !IsUnreadable(fatalStatus) && (amqp_frames_enqueued(State()) || amqp_data_in_buffer(State()));
}

void Connection::ConnectionImpl::RequireSendable(std::initializer_list<std::string_view> texts)
{
    if (std::any_of(texts.begin(), texts.end(), IsTooLong))
    {
        throw FromReply(LibraryException(AMQP_STATUS_BAD_AMQP_DATA));
    }
}

void Connection::ConnectionImpl::RequireUsable()
{
    if (!PeerListens())
    {
        channels.clear();
        throw FromReply(LibraryException(fatalStatus));
    }
}

void Connection::ConnectionImpl::RefuseClosed()
{
    throw ErrorCode(ownTexts.channelIsClosed, ErrorCode::ChannelClosed, AMQP_CHANNEL_ERROR);
}

void Connection::ConnectionImpl::HandleChannelClose(std::uint16_t number, Channel& channel)
{
    MarkClosed(number, true);
    Notify(channel, channel.HoldNotifier(), {ownTexts.brokerClosedChannel, ErrorCode::ChannelClosed, 0});
    channels.erase(number);
}

} // namespace Amqp
