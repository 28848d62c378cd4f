#include "engine/Gathering.hpp"

#include "engine/Socket.hpp"

namespace Amqp
{

namespace
{

using std::chrono::milliseconds;

// More than this gains nothing: a segment is full before.
constexpr std::size_t mostMessages = 256;
constexpr std::size_t mostBytes = 65536;

constexpr milliseconds longestWait(2);

// After such a gap the next message may be as far away: this one is not kept for it.
constexpr milliseconds longestGap(1);

} // namespace

bool Gathering::Begin(bool usable)
{
    if (++open == 1)
    {
        latest = Clock::now();
        gathers = usable && state != nullptr && Socket::Cork(amqp_get_sockfd(state), true);
    }
    return gathers && usable;
}

void Gathering::End()
{
    if (open == 1)
    {
        Hold(false);
        gathers = false;
    }
    --open;
}

void Gathering::Wrote(std::size_t bytes)
{
    const Clock::time_point now = Clock::now();
    if (waitingMessages == 0)
    {
        oldest = now;
    }
    ++waitingMessages;
    waitingBytes += bytes;
    const bool alone = now - latest > longestGap;
    latest = now;
    if (alone || waitingMessages >= mostMessages || waitingBytes >= mostBytes || now - oldest >= longestWait)
    {
        Socket::Push(amqp_get_sockfd(state));
        waitingMessages = 0;
        waitingBytes = 0;
    }
}

void Gathering::Hold(bool on)
{
    if (!gathers)
    {
        return;
    }
    Socket::Cork(amqp_get_sockfd(state), on);
    if (!on)
    {
        waitingMessages = 0;
        waitingBytes = 0;
    }
}

} // namespace Amqp
