// Channel numbers, and which channel has which. The registry does not own the channels.
#include "connection/ConnectionImpl.hpp"

namespace Amqp
{

void Connection::ConnectionImpl::RegisterChannel(Channel& channel)
{
    RequireUsable();
    const std::uint16_t number = ++lastChannelNumber;
    amqp_maybe_release_buffers(State());
    const Gathering::Pause pause(gathering);
    amqp_channel_open(State(), number);
    if (CheckReply(channel, amqp_get_rpc_reply(State())))
    {
        channel.Token(number);
        channels.try_emplace(number, &channel);
        MarkClosed(number, false);
    }
}

void Connection::ConnectionImpl::UnregisterChannel(const Channel& channel)
{
    const std::uint16_t number = channel.Token();
    if (FindChannel(number) == nullptr)
    {
        return;
    }
    channels.erase(number);
    MarkClosed(number, true);
    if (!PeerListens())
    {
        return; // nobody would answer, or the answer could not be read
    }
    const Gathering::Pause pause(gathering);
    NoteFailure(number, amqp_channel_close(State(), number, AMQP_REPLY_SUCCESS));
}

Channel* Connection::ConnectionImpl::FindChannel(std::uint16_t number) const
{
    const auto found = channels.find(number);
    return found == channels.end() ? nullptr : found->second;
}

void Connection::ConnectionImpl::MarkClosed(std::uint16_t number, bool closed)
{
    if (closedChannels.size() <= number)
    {
        closedChannels.resize(number + std::size_t{1});
    }
    closedChannels[number] = closed;
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
