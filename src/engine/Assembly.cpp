#include "engine/Assembly.hpp"

#include "values/Bytes.hpp"

#include <algorithm>
#include <limits>
#include <utility>

namespace Amqp
{

namespace
{

bool CarriesContent(amqp_method_number_t method)
{
    return method == AMQP_BASIC_DELIVER_METHOD || method == AMQP_BASIC_RETURN_METHOD ||
           method == AMQP_BASIC_GET_OK_METHOD;
}

// The protocol allows no content on channel 0. If a peer sends some, skip the content. With each heartbeat that
// rabbitmq-c itself reads, it recycles the memory of channel 0, even if an event still shows that memory.
bool Announces(std::uint16_t channel, amqp_method_number_t method)
{
    return channel != 0 && CarriesContent(method);
}

bool IsClose(amqp_method_number_t method)
{
    return method == AMQP_CHANNEL_CLOSE_METHOD || method == AMQP_CONNECTION_CLOSE_METHOD;
}

// Only these methods may arrive in the middle of a body. They end the channel or the connection, so the rest of the
// body never arrives.
bool EndsChannel(amqp_method_number_t method)
{
    return IsClose(method) || method == AMQP_CHANNEL_CLOSE_OK_METHOD;
}

} // namespace

bool Assembly::IsClose(const Event& event)
{
    return event.kind == Event::Kind::Method && Amqp::IsClose(event.method.id);
}

bool Assembly::Keep(Event& event)
{
    scratch.resize(session.FrameMax());
    return event.Keep(spare, scratch);
}

Assembly::Channel& Assembly::Of(std::uint16_t number)
{
    if (channels.size() <= number)
    {
        channels.resize(number + std::size_t{1});
    }
    auto& channel = channels[number];
    if (!channel)
    {
        channel = std::make_unique<Channel>(FrameMemory(session.State(), number));
        channel->message.channel = number;
    }
    return *channel;
}

int Assembly::Feed(const amqp_frame_t& frame, Event& event)
{
    if (frame.frame_type == 0)
    {
        ReleaseUnknown(frame);
        return AMQP_STATUS_TIMEOUT;
    }
    Channel& channel = Of(frame.channel);
    FrameMemory::Lease lease(channel.memory);
    if (frame.frame_type == AMQP_FRAME_HEARTBEAT)
    {
        return AMQP_STATUS_TIMEOUT;
    }
    if (frame.frame_type == AMQP_FRAME_METHOD)
    {
        if (channel.awaited == Awaited::Method && Announces(frame.channel, frame.payload.method.id))
        {
            return Begin(channel, frame.payload.method, std::move(lease)); // the usual case needs no event of its own
        }
        Event method;
        method.kind = Event::Kind::Method;
        method.channel = frame.channel;
        method.method = frame.payload.method;
        method.lease = std::move(lease);
        // rabbitmq-c itself reads the frames that arrived together with the login. It recycles the memory of channel 0
        // with every heartbeat that it reads. So copy a method on channel 0 at once.
        if (frame.channel == 0 && !Keep(method))
        {
            return session.Fail(AMQP_STATUS_NO_MEMORY);
        }
        return FeedMethod(channel, std::move(method), event);
    }
    const bool header = frame.frame_type == AMQP_FRAME_HEADER;
    if (channel.awaited == Awaited::Method && header && std::exchange(channel.contentMayFollow, false))
    {
        channel.skipped = true;
        channel.awaited = Awaited::Header;
    }
    if (channel.awaited == Awaited::Method || (channel.awaited == Awaited::Header && !header))
    {
        Event stray;
        stray.channel = frame.channel;
        return FeedStray(channel, std::move(stray), event);
    }
    return header ? FeedHeader(channel, frame, event) : FeedBody(channel, ToView(frame.payload.body_fragment), event);
}

// rabbitmq-c ignores a frame whose type it does not know, but has put its payload into the memory of its channel. While
// a frame is not complete, rabbitmq-c has not set the channel, and does not allow that memory is released.
void Assembly::ReleaseUnknown(const amqp_frame_t& frame)
{
    if (amqp_release_buffers_ok(session.State()))
    {
        const FrameMemory::Lease ignored(Of(frame.channel).memory);
    }
}

int Assembly::FeedMethod(Channel& channel, Event&& method, Event& event)
{
    const amqp_method_number_t id = method.method.id;
    if (channel.awaited == Awaited::Body && !EndsChannel(id))
    {
        return session.Fail(AMQP_STATUS_BAD_AMQP_DATA);
    }
    channel.contentMayFollow = id == AMQP_BASIC_ACK_METHOD || (CarriesContent(id) && !Announces(method.channel, id));
    if (channel.awaited != Awaited::Method)
    {
        return Break(channel, std::move(method), event);
    }
    event = std::move(method);
    return AMQP_STATUS_OK;
}

int Assembly::FeedStray(Channel& channel, Event&& stray, Event& event)
{
    if (channel.awaited != Awaited::Method)
    {
        return Break(channel, std::move(stray), event);
    }
    event = std::move(stray);
    return AMQP_STATUS_OK;
}

int Assembly::Begin(Channel& channel, const amqp_method_t& method, FrameMemory::Lease&& lease)
{
    channel.message.kind = Event::Kind::Message;
    channel.message.method = method;
    channel.message.properties = nullptr;
    channel.message.body = {};
    channel.message.lease = std::move(lease);
    channel.awaited = Awaited::Header;
    channel.contentMayFollow = false;
    return AMQP_STATUS_TIMEOUT;
}

int Assembly::FeedHeader(Channel& channel, const amqp_frame_t& frame, Event& event)
{
    const auto& header = frame.payload.properties;
    const bool fits = header.raw.len <= session.FrameMax(); // older versions of rabbitmq-c do not check this
    if (channel.awaited == Awaited::Body || header.class_id != AMQP_BASIC_CLASS || !fits)
    {
        return session.Fail(AMQP_STATUS_BAD_AMQP_DATA);
    }
    channel.message.properties = static_cast<const amqp_basic_properties_t*>(header.decoded);
    channel.message.encodedProperties = header.raw;
    channel.missing = header.body_size;
    channel.awaited = Awaited::Body;
    return channel.missing == 0 ? Complete(channel, event) : AMQP_STATUS_TIMEOUT;
}

int Assembly::FeedBody(Channel& channel, std::string_view fragment, Event& event)
{
    if (fragment.size() > channel.missing)
    {
        return session.Fail(AMQP_STATUS_BAD_AMQP_DATA);
    }
    const bool whole = !channel.message.kept && fragment.size() == channel.missing;
    if (whole)
    {
        channel.message.body = fragment; // a body of one frame needs no copy
    }
    else if (!channel.skipped)
    {
        const int status = Join(channel, fragment);
        if (status != AMQP_STATUS_OK)
        {
            return status;
        }
    }
    channel.missing -= fragment.size();
    return channel.missing == 0 ? Complete(channel, event) : AMQP_STATUS_TIMEOUT;
}

// Copies the fragment behind the earlier ones. The copy lets rabbitmq-c release the memory of each frame; otherwise a
// large body would take its size twice.
int Assembly::Join(Channel& channel, std::string_view fragment)
{
    Event& message = channel.message;
    const auto announced = static_cast<std::size_t>(
        std::min<std::uint64_t>(message.body.size() + channel.missing, std::numeric_limits<std::size_t>::max()));
    if (!Keep(message) || !message.kept->body.Append(fragment, announced))
    {
        return session.Fail(AMQP_STATUS_NO_MEMORY);
    }
    message.body = message.kept->body.View();
    return AMQP_STATUS_OK;
}

// Ends a message because `cause` arrived in place of its content. The broken message is the first event. Then `cause`
// is an event, too, unless it begins another message. If the content was skipped, there is no broken message.
int Assembly::Break(Channel& channel, Event&& cause, Event& event)
{
    channel.awaited = Awaited::Method;
    Event message = std::move(channel.message);
    const bool missed = !std::exchange(channel.skipped, false);
    const amqp_method_number_t id = cause.method.id;
    // A `basic.deliver` in place of the content of another delivery is an error. Hand it on as a mere method, and do
    // not await its content.
    const bool begins = Announces(cause.channel, id) && !(id == AMQP_BASIC_DELIVER_METHOD && message.method.id == id);
    if (missed)
    {
        message.kind = Event::Kind::Broken;
        event = std::move(message);
    }
    if (begins)
    {
        Begin(channel, cause.method, std::move(cause.lease));
    }
    else if (missed)
    {
        intruder = std::move(cause);
    }
    else
    {
        event = std::move(cause);
    }
    return missed || !begins ? AMQP_STATUS_OK : AMQP_STATUS_TIMEOUT;
}

int Assembly::Complete(Channel& channel, Event& event)
{
    channel.awaited = Awaited::Method;
    if (std::exchange(channel.skipped, false))
    {
        channel.message.lease.End();
        return AMQP_STATUS_TIMEOUT;
    }
    event = std::move(channel.message);
    return AMQP_STATUS_OK;
}

// No more frames can arrive. Each call gives up one unfinished message.
int Assembly::End(Event& event)
{
    for (const auto& channel : channels)
    {
        if (channel && channel->awaited != Awaited::Method)
        {
            channel->awaited = Awaited::Method;
            event = std::move(channel->message);
            if (!std::exchange(channel->skipped, false))
            {
                event.kind = Event::Kind::Lost;
                return AMQP_STATUS_OK;
            }
        }
    }
    return session.Failure();
}

} // namespace Amqp
