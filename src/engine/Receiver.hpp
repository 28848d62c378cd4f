// Waits for what comes in: the next event, or the reply to a call. Before a wait everything that was written is on its
// way, and during it heartbeats go out; a peer that stays silent is given up. Belongs to one session and its thread.
#pragma once

#include "engine/Clock.hpp"
#include "engine/Inbound.hpp"
#include "engine/Session.hpp"
#include "engine/Wakeup.hpp"
#include "engine/Writer.hpp"

#include <cstdint>
#include <optional>

namespace Amqp
{

class Receiver
{
public:
    Receiver(Session& owner, Inbound& incoming, Writer& outgoing) : session(owner), inbound(incoming), writer(outgoing)
    {
    }

    /// How long to wait: for ever without a limit. Begins when there is nothing left to be read.
    struct Wait
    {
        std::optional<Clock::duration> limit;
        std::optional<Clock::time_point> end;
    };
    /// The next event. AMQP_STATUS_OK, AMQP_STATUS_TIMEOUT when the wait is over, also in the middle of a message, or
    /// was ended by Wake, or what the session failed of.
    int Next(Event& event, Wait& wait);

    /// What becomes of the events that come before a reply.
    enum class Others
    {
        Park,
        Drop
    };
    /// Waits for the reply to a call: `id` on `channel`, or a close in its place. AMQP_STATUS_OK, or what the session
    /// failed of.
    int Reply(Event& reply, std::uint16_t channel, amqp_method_number_t id, Others others);

    /// From any thread: ends the wait of a Next that is going on, or else of the next one.
    void Wake() const { wakeup.Signal(); }
    void ForgetWake() const { wakeup.Clear(); }

private:
    enum class Ends
    {
        Never,
        OnWake
    };
    void KeepAlive();
    int Await(std::optional<Clock::time_point> end, Ends ends);

    Session& session;
    Inbound& inbound;
    Writer& writer;
    Wakeup wakeup;
};

} // namespace Amqp
