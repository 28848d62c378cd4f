// Whether the kernel sends what is written at once or gathers it, and when what was gathered has to go out. Belongs to
// one connection and its thread; sets options of the socket, and neither reads nor writes.
#pragma once

#include "values/RabbitMq.hpp"

#include <chrono>
#include <cstddef>

namespace Amqp
{

class Gathering
{
public:
    /// Once the socket is there; without this nothing is ever gathered.
    void Start(amqp_connection_state_t connection) { state = connection; }

    /// Begins to gather, on a connection that is usable; gives whether the kernel does. Each Begin has its End.
    bool Begin(bool usable);
    void End();

    bool IsOn() const { return gathers; }

    /// After a message was written, `bytes` being its body: sends what was gathered when it is enough, or has waited
    /// long enough.
    void Wrote(std::size_t bytes);

    /// Nothing is held back while it lives: for waits, whose end may depend on what was written.
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
    std::size_t open = 0;   // batches
    std::size_t pauses = 0; // one inside the other
    bool gathers = false;   // one is open, and the kernel does its part
    std::size_t waitingMessages = 0;
    std::size_t waitingBytes = 0;
    Clock::time_point oldest{}; // of the messages that wait
    Clock::time_point latest{}; // message, or the beginning
};

} // namespace Amqp
