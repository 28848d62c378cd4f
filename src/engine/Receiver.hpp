// Waits for the next event, or for the reply to a call. Before a wait, Receiver makes the kernel send everything that
// was written. During a wait, Receiver sends heartbeats. If the peer stays silent for two heartbeat intervals, the
// session fails. Belongs to one session; only the connection's thread uses it, except Wake.
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

    /// How long to wait: for ever if there is no limit. Next sets `end` when nothing is left to be read: only then the
    /// time starts.
    struct Wait
    {
        std::optional<Clock::duration> limit;
        std::optional<Clock::time_point> end;
    };
    /// Waits for the next event, and returns AMQP_STATUS_OK. Returns AMQP_STATUS_TIMEOUT if the wait is over, even in
    /// the middle of a message, or if Wake has ended the wait. Returns the session's failure if there is one.
    int Next(Event& event, Wait& wait);

    /// What to do with the events that arrive before a reply.
    enum class Others
    {
        Park,
        Drop
    };
    /// Waits for the reply to a call: the method `id` on `channel`, or a close of the channel or the connection.
    /// Returns AMQP_STATUS_OK, or the session's failure.
    int Reply(Event& reply, std::uint16_t channel, amqp_method_number_t id, Others others);

    /// Ends the wait of the Next that is running, or else the next wait. May be called from any thread.
    void Wake() const { wakeup.Signal(); }
    /// Undoes a Wake that has not ended a wait yet.
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
