// Returns the events that arrive, in the order of their arrival. Messages of several channels may be interleaved. Never
// waits. An event that arrives while a caller waits for something else is parked, and returned first afterwards. Only
// the peer bounds the number of parked events. Belongs to one session; only the connection's thread uses it.
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

    /// Fetches the next event, and returns AMQP_STATUS_OK. Returns AMQP_STATUS_TIMEOUT if nothing can be read now.
    /// Returns the session's failure after all events that arrived before it.
    ///
    /// While a large message arrives without a pause, Next also returns AMQP_STATUS_TIMEOUT now and then, and IsBusy
    /// returns true. There is then more to be read without a wait.
    int Next(Event& event);
    /// Like Next, but skips the parked events.
    int NextUnparked(Event& event);
    bool IsBusy() const { return busy; }
    bool HasParked() const { return !parked.empty(); }
    std::size_t ParkedCount() const { return parked.size(); }

    /// Reads what has arrived, up to a limit, and parks the events. Returns AMQP_STATUS_TIMEOUT, or the session's
    /// failure.
    int TakeIn();
    /// Parks an event behind the parked ones. If there is no memory, fails the session and returns false.
    bool Park(Event event);

    /// Removes the first parked close with this method on this channel from the queue. Returns false if there is none.
    bool TakeParkedClose(Event& event, std::uint16_t channel, amqp_method_number_t id);

    /// Removes the first parked event that matches from the queue, skipping the first `from` events. Returns false if
    /// no event matches.
    bool TakeParked(Event& event, std::size_t from, const std::function<bool(const Event&)>& matches);

    /// Fetches the next event if it is a close on this channel. Reads nothing. Returns false if there is no such close.
    bool TakeClose(Event& event, std::uint16_t channel);

    /// Returns whether there may be an event without a wait.
    bool HasMore() { return !parked.empty() || assembly.Intruder() || frames.HaveMore(); }

private:
    int Read(Event& event, bool& empty);

    Session& session;
    FrameReader frames;
    Assembly assembly;
    std::deque<Event> parked;
    std::size_t parkedCloses = 0; // usually 0, which saves each publish a search
    bool busy = false;
};

} // namespace Amqp
