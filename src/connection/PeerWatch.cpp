#include "connection/PeerWatch.hpp"

#include "connection/SocketOptions.hpp"

#include <algorithm>

namespace Amqp
{

namespace
{

using std::chrono::milliseconds;

// Sooner than rabbitmq-c itself would say so, or it may begin to wait between this look and its own.
constexpr milliseconds margin(100);

// What the kernel may keep for a few small writes, beyond their octets.
constexpr std::size_t overhead = 4096;

} // namespace

void PeerWatch::Start(amqp_connection_state_t connection, std::chrono::seconds heartbeat)
{
    state = connection;
    patience = 2 * heartbeat;
    HasBeenRead();
}

bool PeerWatch::IsDue()
{
    if (patience == milliseconds(0))
    {
        return false;
    }
    roomLeft = 0; // nobody counts what a write that goes past takes of it
    return Clock::now() >= std::min(nextLook, nextReading);
}

void PeerWatch::HasBeenRead()
{
    nextReading = Clock::now() + patience;
}

PeerWatch::Room PeerWatch::Await(std::size_t octets)
{
    if (patience == milliseconds(0))
    {
        return Room::Enough;
    }
    // A look costs system calls: one is good for many small writes.
    if (octets + overhead <= roomLeft && Clock::now() < nextLook)
    {
        roomLeft -= octets + overhead;
        return Room::Enough;
    }
    return Look(octets);
}

PeerWatch::Room PeerWatch::Look(std::size_t octets)
{
    for (;;)
    {
        // Asked for each time: rabbitmq-c closes the socket when it fails, and the number may be another's then.
        const int socket = amqp_get_sockfd(state);
        const auto quiet = Socket::SinceReceived(socket);
        if (!quiet)
        {
            nextLook = Clock::now() + patience;
            return Room::Enough; // a failure will be found by the write
        }
        milliseconds left = patience - margin - *quiet;
        if (left <= milliseconds(0))
        {
            if (!Socket::InputIsCrowded(socket))
            {
                return Room::Silent;
            }
            left = patience; // nobody here reads: the peer's signs of life wait on its side
        }
        nextLook = Clock::now() + left;
        if (!Socket::AwaitWritable(socket, left))
        {
            continue;
        }
        // The kernel may count an octet twice.
        const std::size_t room = Socket::Room(socket).value_or(0) / 2;
        roomLeft = room > octets ? room - octets : 0;
        return room > octets ? Room::Enough : Room::Tight;
    }
}

} // namespace Amqp
