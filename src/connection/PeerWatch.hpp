// Keeps a write from waiting for ever for a peer that has fallen silent. rabbitmq-c looks for that only while it waits
// for something to arrive: while it waits for room in the socket, or at the start of a publish (up to 0.13), it waits
// without limit. Belongs to one connection and its thread; looks at the socket, and neither reads nor writes.
#pragma once

#include "values/RabbitMq.hpp"

#include <chrono>
#include <cstddef>

namespace Amqp
{

class PeerWatch
{
public:
    enum class Room
    {
        Enough, ///< What is to be written fits.
        Tight,  ///< Something fits, perhaps not all of it.
        Silent  ///< Nothing has come from the peer for two heartbeat intervals: it counts as gone.
    };

    /// After the login, which settles the heartbeat interval; with 0 everything has room.
    void Start(amqp_connection_state_t connection, std::chrono::seconds heartbeat);

    /// Waits until something can be written, as long as the peer gives signs of life: a broker that is short of memory
    /// reads nothing, but sends heartbeats.
    Room Await(std::size_t octets);

    /// Whether the peer has to be looked at, or rabbitmq-c to read, before the next write: that write has to await its
    /// room and go through rabbitmq-c. Any other one may go past both, and is not counted here.
    bool IsDue();
    /// rabbitmq-c has had the opportunity to read: it takes it when it has not read for as long as a peer may be
    /// silent.
    void HasBeenRead();

    /// How long a peer may be silent.
    std::chrono::milliseconds Patience() const { return patience; }

private:
    using Clock = std::chrono::steady_clock;

    Room Look(std::size_t octets);

    amqp_connection_state_t state = nullptr;
    std::chrono::milliseconds patience{0};
    Clock::time_point nextLook{}; // the peer cannot count as silent before
    Clock::time_point nextReading{};
    std::size_t roomLeft = 0; // surely, of what the last look found
};

} // namespace Amqp
