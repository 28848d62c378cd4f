// Computes when a heartbeat is due, and when a peer has been silent for too long. Reads no clock and no socket: callers
// pass the time when they send or receive something. Belongs to the connection's thread.
#pragma once

#include "engine/Clock.hpp"

#include <algorithm>
#include <chrono>

namespace Amqp
{

class Heartbeats
{
public:
    /// Starts with the interval that was agreed at login. With an interval of 0 there are no heartbeats: AreOn returns
    /// false, and the times below mean nothing.
    void Start(std::chrono::seconds agreed, Clock::time_point now)
    {
        interval = agreed;
        sent = received = now;
    }

    bool AreOn() const { return interval.count() > 0; }

    /// Notes that something was sent. Whatever we send counts as a heartbeat.
    void Sent(Clock::time_point now) { sent = now; }
    /// Notes that something arrived. Whatever the peer sends counts as a heartbeat.
    void Received(Clock::time_point now) { received = std::max(received, now); }

    /// Returns when a heartbeat has to be sent, if nothing else is sent before.
    Clock::time_point NextSend() const { return sent + interval / 2; }
    /// Returns when a write has to look for input, if nothing arrives before. Heartbeats of the peer may be waiting in
    /// the socket when the application only publishes.
    Clock::time_point NextLook() const { return received + interval; }
    /// Returns when the connection has failed, if nothing arrives before.
    Clock::time_point End() const { return received + 2 * interval; }

private:
    std::chrono::milliseconds interval{0};
    Clock::time_point sent{};
    Clock::time_point received{};
};

} // namespace Amqp
