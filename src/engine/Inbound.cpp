#include "engine/Inbound.hpp"

#include <algorithm>
#include <cstddef>
#include <new>
#include <utility>

namespace Amqp
{

namespace
{

// However much the peer sends, the caller has to send heartbeats and end its wait. So return after so many frames or
// events, even if there are more.
constexpr std::size_t mostFramesAtOnce = 64;
constexpr std::size_t mostEventsAtOnce = 256;

} // namespace

int Inbound::Next(Event& event)
{
    if (parked.empty())
    {
        return NextUnparked(event);
    }
    event = std::move(parked.front());
    parked.pop_front();
    parkedCloses -= Assembly::IsClose(event) ? 1U : 0U;
    return AMQP_STATUS_OK;
}

int Inbound::NextUnparked(Event& event)
{
    if (auto& intruder = assembly.Intruder())
    {
        event = std::move(*intruder);
        intruder.reset();
        return AMQP_STATUS_OK;
    }
    busy = false;
    int status = AMQP_STATUS_TIMEOUT;
    for (std::size_t count = 0; status == AMQP_STATUS_TIMEOUT && session.IsReadable(); ++count)
    {
        if (count == mostFramesAtOnce)
        {
            busy = true;
            return status;
        }
        bool empty = false;
        status = Read(event, empty);
        if (empty)
        {
            return status;
        }
    }
    return status == AMQP_STATUS_OK ? status : assembly.End(event);
}

// If there is no memory for a frame, the frame is lost. The frames behind it would then be misunderstood, so the
// session fails.
int Inbound::Read(Event& event, bool& empty)
{
    try
    {
        amqp_frame_t frame;
        const int status = frames.Next(frame);
        empty = status == AMQP_STATUS_TIMEOUT && session.Failure() == AMQP_STATUS_OK;
        if (empty)
        {
            return status;
        }
        return status == AMQP_STATUS_OK ? assembly.Feed(frame, event) : session.Fail(status);
    }
    catch (const std::bad_alloc&)
    {
        return session.Fail(AMQP_STATUS_NO_MEMORY);
    }
}

int Inbound::TakeIn()
{
    for (std::size_t events = 0; events < mostEventsAtOnce; ++events)
    {
        Event event;
        const int status = NextUnparked(event);
        if (status != AMQP_STATUS_OK && !busy)
        {
            return status;
        }
        if (status == AMQP_STATUS_OK && !Park(std::move(event)))
        {
            return session.Failure();
        }
    }
    return AMQP_STATUS_TIMEOUT;
}

bool Inbound::Park(Event event)
{
    try
    {
        if (assembly.Keep(event))
        {
            const bool close = Assembly::IsClose(event);
            parked.push_back(std::move(event));
            parkedCloses += close ? 1U : 0U;
            return true;
        }
    }
    catch (const std::bad_alloc&)
    {
        // Fail the session below.
    }
    session.Fail(AMQP_STATUS_NO_MEMORY);
    return false;
}

bool Inbound::TakeParkedClose(Event& event, std::uint16_t channel, amqp_method_number_t id)
{
    return parkedCloses > 0 && TakeParked(event, 0, [&](const Event& waiting) { return waiting.Is(channel, id); });
}

bool Inbound::TakeParked(Event& event, std::size_t from, const std::function<bool(const Event&)>& matches)
{
    const auto begin = parked.begin() + static_cast<std::ptrdiff_t>(std::min(from, parked.size()));
    const auto found = std::find_if(begin, parked.end(), matches);
    if (found == parked.end())
    {
        return false;
    }
    event = std::move(*found);
    parked.erase(found);
    parkedCloses -= Assembly::IsClose(event) ? 1U : 0U;
    return true;
}

bool Inbound::TakeClose(Event& event, std::uint16_t channel)
{
    const auto& intruder = assembly.Intruder();
    const Event* const first = !parked.empty() ? &parked.front() : intruder ? &*intruder : nullptr;
    return first != nullptr && first->channel == channel && Assembly::IsClose(*first) && Next(event) == AMQP_STATUS_OK;
}

} // namespace Amqp
