// The one way in: frames put together to events in the order of their
// arrival, messages of different channels interleaved or not. Never waits. What arrives while somebody waits for
// something else is parked, and comes first afterwards; that is at most what the peer sends meanwhile. Belongs to one
// session and its thread.
#pragma once

#include "engine/Assembly.hpp"
#include "engine/Event.hpp"
#include "engine/FrameReader.hpp"
#include "engine/Session.hpp"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>

namespace Amqp
{

class Inbound
{
public:
    explicit Inbound(Session& owner) : session(owner), frames(owner), assembly(owner) {}

    /// Fetches the next event. Returns AMQP_STATUS_OK; AMQP_STATUS_TIMEOUT when nothing can be read now; or the
    /// session's failure, after all events that arrived before it. While a large message arrives without a pause, Next
    /// also returns AMQP_STATUS_TIMEOUT now and then, and IsBusy is true.
    int Next(Event& event);
    /// Like Next, but passes over the parked events.
    int NextUnparked(Event& event);
    bool IsBusy() const { return busy; }
    bool HasParked() const { return !parked.empty(); }
    std::size_t ParkedCount() const { return parked.size(); }

    /// Reads what there is to be read, within bounds, and parks it: AMQP_STATUS_TIMEOUT, or what the session failed of.
    int TakeIn();
    /// Keeps an event for later, behind those that are parked. False when there is no memory: the session has failed.
    bool Park(Event event);

    /// Takes the first parked close with this method on this channel out of the queue. False when there is none.
    bool TakeParkedClose(Event& event, std::uint16_t channel, amqp_method_number_t id);

    /// Takes the first event that matches out of the parked ones, except out of the first `from`. False when there is
    /// none.
    bool TakeParked(Event& event, std::size_t from, const std::function<bool(const Event&)>& matches);

    /// Takes the next event if it is a close on this channel. False when it is not.
    bool TakeClose(Event& event, std::uint16_t channel);

    /// Whether something may be handled without a wait.
    bool HasMore() { return !parked.empty() || assembly.Intruder() || frames.HaveMore(); }

private:
    int Read(Event& event, bool& empty);

    Session& session;
    FrameReader frames;
    Assembly assembly;
    std::deque<Event> parked;
    std::size_t parkedCloses = 0; // mostly none: a search would cost every publish
    bool busy = false;
};

} // namespace Amqp
