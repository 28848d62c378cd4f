// The one place that decides whether an error is told to a channel or thrown.
#include "connection/ConnectionImpl.hpp"

#include "connection/ErrorTranslation.hpp"

#include <utility>

namespace Amqp
{

namespace
{

void Notify(const Channel& channel, ErrorCode error)
{
    // A copy, since the notifier may destroy its channel, and with it the notifier that is running.
    const auto notifier = channel.ErrorNotifier();
    notifier(std::move(error));
}

} // namespace

bool Connection::ConnectionImpl::CheckReply(Channel& channel, const amqp_rpc_reply_t& reply)
{
    ErrorCode error = FromReply(reply);
    switch (error.category)
    {
    case ErrorCode::Success:
        return true;
    case ErrorCode::ChannelClosed:
    {
        amqp_channel_close_ok_t closeOk{};
        amqp_send_method(State(), channel.Token(), AMQP_CHANNEL_CLOSE_OK_METHOD, &closeOk);
        channels.erase(channel.Token());
        MarkClosed(channel.Token(), true);
        Notify(channel, std::move(error));
        return false;
    }
    case ErrorCode::ConnectionClosed:
    {
        // On the channel's own number, where brokers take it as well as on 0.
        amqp_connection_close_ok_t closeOk{};
        amqp_send_method(State(), channel.Token(), AMQP_CONNECTION_CLOSE_OK_METHOD, &closeOk);
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
        channels.clear();
        throw FromStatus(status);
    }
    channels.erase(channel->Token());
    Notify(*channel, FromStatus(status));
    return false;
}

void Connection::ConnectionImpl::RequireOpen(const Channel& channel) const
{
    if (IsClosed(channel.Token()))
    {
        throw ErrorCode("Channel is closed", ErrorCode::ChannelClosed, AMQP_CHANNEL_ERROR);
    }
}

void Connection::ConnectionImpl::HandleChannelClose(std::uint16_t number, const Channel& channel)
{
    MarkClosed(number, true);
    Notify(channel, {"Broker requested channel close", ErrorCode::ChannelClosed, 0});
    channels.erase(number);
}

} // namespace Amqp
