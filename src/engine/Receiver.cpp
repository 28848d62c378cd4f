#include "engine/Receiver.hpp"

#include "engine/Socket.hpp"

#include <algorithm>
#include <chrono>
#include <utility>

namespace Amqp
{

namespace
{

using std::chrono::milliseconds;

} // namespace

int Receiver::Next(Event& event, Wait& wait)
{
    KeepAlive();
    for (;;)
    {
        int status = inbound.Next(event);
        if (status != AMQP_STATUS_TIMEOUT)
        {
            return status;
        }
        if (wait.limit && !wait.end)
        {
            const auto begin = Clock::now();
            wait.end = begin + std::min(*wait.limit, Clock::time_point::max() - begin);
        }
        status = Await(wait.end, Ends::OnWake);
        if (status != AMQP_STATUS_OK)
        {
            return status;
        }
    }
}

int Receiver::Reply(Event& reply, std::uint16_t channel, amqp_method_number_t id, Others others)
{
    const auto ends = [&](const Event& event)
    {
        return event.Is(channel, id) || event.Is(channel, AMQP_CHANNEL_CLOSE_METHOD) ||
               event.Is(0, AMQP_CONNECTION_CLOSE_METHOD);
    };
    std::size_t earlier = inbound.ParkedCount();
    for (;;)
    {
        // While a heartbeat waits for room in the socket, Writer parks every event, the reply included.
        if (inbound.ParkedCount() > earlier && inbound.TakeParked(reply, earlier, ends))
        {
            return AMQP_STATUS_OK;
        }
        earlier = inbound.ParkedCount();
        Event event;
        int status = inbound.NextUnparked(event);
        if (status == AMQP_STATUS_OK)
        {
            if (ends(event))
            {
                reply = std::move(event);
                return status;
            }
            if (others == Others::Park && !inbound.Park(std::move(event)))
            {
                return session.Failure();
            }
            earlier = inbound.ParkedCount();
            KeepAlive();
            continue;
        }
        status = status == AMQP_STATUS_TIMEOUT ? Await({}, Ends::Never) : status;
        if (status != AMQP_STATUS_OK)
        {
            return status;
        }
    }
}

// Sends a heartbeat if one is due. Await does this, too, but while events keep arriving nothing calls Await.
void Receiver::KeepAlive()
{
    const Heartbeats& pulse = session.Pulse();
    if (pulse.AreOn() && session.Failure() == AMQP_STATUS_OK)
    {
        const auto now = Clock::now();
        if (now >= pulse.NextSend())
        {
            writer.Heartbeat(now);
        }
    }
}

int Receiver::Await(std::optional<Clock::time_point> end, Ends ends)
{
    writer.Push();
    const Gathering::Pause pause(writer.Gathered());
    const Heartbeats& pulse = session.Pulse();
    auto now = Clock::now();
    std::optional<Clock::time_point> first = end;
    if (pulse.AreOn())
    {
        if (now >= pulse.NextSend() && session.Failure() == AMQP_STATUS_OK)
        {
            const int status = writer.Heartbeat(now);
            if (inbound.HasParked())
            {
                return AMQP_STATUS_OK; // the heartbeat may have waited for room: look first at what arrived meanwhile
            }
            if (status != AMQP_STATUS_OK)
            {
                return status;
            }
        }
        const auto due = std::min(pulse.NextSend(), pulse.End());
        first = first ? std::min(*first, due) : due;
    }
    std::optional<milliseconds> limit;
    if (inbound.IsBusy())
    {
        limit = milliseconds(0);
    }
    else if (first)
    {
        limit = std::chrono::ceil<milliseconds>(*first - now);
    }
    const auto ready =
        Socket::Await(session.Descriptor(), {.input = true}, ends == Ends::OnWake ? wakeup.Descriptor() : -1, limit);
    if (ready.wakeup)
    {
        wakeup.Clear();
        return AMQP_STATUS_TIMEOUT;
    }
    now = Clock::now();
    if (!ready.input && pulse.AreOn() && now >= pulse.End())
    {
        return session.GiveUpPeer();
    }
    // End the wait even if there is input: a peer that sends a message byte by byte must not prolong the wait.
    return end && now >= *end ? AMQP_STATUS_TIMEOUT : AMQP_STATUS_OK;
}

} // namespace Amqp
