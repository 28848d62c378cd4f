// Decides whether the kernel sends written bytes at once or gathers them, and when the kernel has to send gathered
// bytes. Sets options of the socket; never reads or writes. Belongs to one connection; only its thread uses it.
#pragma once

#include "values/RabbitMq.hpp"

#include <chrono>
#include <cstddef>

namespace Amqp
{

class Gathering
{
public:
    /// Allows gathering. Call Start when the socket is open; without Start the kernel never gathers.
    void Start(amqp_connection_state_t connection) { state = connection; }

    /// Begins a batch. The kernel gathers only if the connection is usable. Returns whether the kernel gathers. Call
    /// End once for each Begin.
    bool Begin(bool usable);
    void End();

    bool IsOn() const { return gathers; }

    /// Notes that a message with a body of `bytes` bytes was written. Sends the gathered messages if they are enough,
    /// or have waited long enough.
    void Wrote(std::size_t bytes);

    /// Makes the kernel hold nothing back while the pause exists. A wait needs a pause, because the peer can reply
    /// only to what it has received.
    class Pause
    {
    public:
        explicit Pause(Gathering& paused) : gathering(paused)
        {
            if (++gathering.pauses == 1)
            {
                gathering.Hold(false);
            }
        }
        ~Pause()
        {
            if (--gathering.pauses == 0)
            {
                gathering.Hold(true);
            }
        }
        Pause(const Pause&) = delete;
        Pause& operator=(const Pause&) = delete;

    private:
        Gathering& gathering;
    };

private:
    using Clock = std::chrono::steady_clock;

    void Hold(bool on);

    amqp_connection_state_t state = nullptr;
    std::size_t open = 0;   // the number of open batches
    std::size_t pauses = 0; // the number of pauses, one inside the other
    bool gathers = false;   // a batch is open, and the kernel gathers
    std::size_t waitingMessages = 0;
    std::size_t waitingBytes = 0;
    Clock::time_point oldest{}; // when the oldest of the waiting messages was written
    Clock::time_point latest{}; // when the latest message was written, or the batch began
};

} // namespace Amqp
