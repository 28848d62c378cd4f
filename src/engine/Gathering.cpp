#include "engine/Gathering.hpp"

#include "engine/Socket.hpp"

namespace Amqp
{

namespace
{

using std::chrono::milliseconds;

// Gathering more messages or bytes than this gains nothing: the segments are full already.
constexpr std::size_t mostMessages = 256;
constexpr std::size_t mostBytes = 65536;

constexpr milliseconds longestWait(2);

// If a message follows the one before after more than this, the next message may take as long. So do not hold the
// message back.
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
