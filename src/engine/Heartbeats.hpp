// When a heartbeat is due, and when a peer has been silent for too long. Looks at no clock and at no socket: it is told
// what was sent and received, and when. Belongs to the connection's thread.
#pragma once

#include "engine/Clock.hpp"

#include <algorithm>
#include <chrono>

namespace Amqp
{

class Heartbeats
{
public:
    /// With an interval of 0 there are none: nothing is ever due.
    void Start(std::chrono::seconds agreed, Clock::time_point now)
    {
        interval = agreed;
        sent = received = now;
    }

    bool AreOn() const { return interval.count() > 0; }

    /// Anything that the peer can see.
    void Sent(Clock::time_point now) { sent = now; }
    /// Anything that the peer has sent.
    void Received(Clock::time_point now) { received = std::max(received, now); }

    /// When one has to go out, if nothing else does before.
    Clock::time_point NextSend() const { return sent + interval / 2; }
    /// From when on to look whether the peer still lives.
    Clock::time_point NextLook() const { return received + interval; }
    /// From when on a peer that has said nothing since counts as gone.
    Clock::time_point End() const { return received + 2 * interval; }

private:
    std::chrono::milliseconds interval{0};
    Clock::time_point sent{};
    Clock::time_point received{};
};

} // namespace Amqp
