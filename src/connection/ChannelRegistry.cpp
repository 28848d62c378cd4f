// Channel numbers, and which channel has which. The registry does not own the channels.
#include "connection/ConnectionImpl.hpp"

namespace Amqp
{

std::uint16_t Connection::ConnectionImpl::OpenChannel(Channel& channel)
{
    const std::uint16_t number = ++lastChannelNumber;
    amqp_channel_open(State(), number);
    return CheckLastReply(channel) ? number : 0;
}

void Connection::ConnectionImpl::AddChannel(std::uint16_t number, Channel& channel)
{
    channels.try_emplace(number, &channel);
}

void Connection::ConnectionImpl::CloseChannel(std::uint16_t number)
{
    if (FindChannel(number) == nullptr)
    {
        return;
    }
    amqp_channel_close(State(), number, AMQP_REPLY_SUCCESS);
    channels.erase(number);
    MarkClosed(number);
}

Channel* Connection::ConnectionImpl::FindChannel(std::uint16_t number) const
{
    const auto found = channels.find(number);
    return found == channels.end() ? nullptr : found->second;
}

void Connection::ConnectionImpl::MarkClosed(std::uint16_t number)
{
    if (closedChannels.size() <= number)
    {
        closedChannels.resize(number + std::size_t{1});
    }
    closedChannels[number] = true;
}

bool Connection::ConnectionImpl::IsClosed(std::uint16_t number) const
{
    return number < closedChannels.size() && closedChannels[number];
}

void Connection::RegisterChannel(Channel& channel)
{
    if (const std::uint16_t number = impl->OpenChannel(channel))
    {
        channel.Token(number);
        impl->AddChannel(number, channel);
    }
}

void Connection::UnregisterChannel(Channel& channel)
{
    impl->CloseChannel(channel.Token());
}

} // namespace Amqp
