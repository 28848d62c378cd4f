#include "engine/Socket.hpp"

#include "engine/Clock.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>

namespace Amqp::Socket
{

namespace
{

using std::chrono::milliseconds;

// The most pieces that one call hands over: sendmsg wants a list of them, which lies on the stack. The caller hands
// over the remaining pieces with its next call.
constexpr std::size_t mostPieces = 136;

int Announce([[maybe_unused]] bool more)
{
#ifdef MSG_MORE
    return more ? MSG_MORE : 0;
#else
    return 0;
#endif
}

bool IsForLater(int error)
{
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

// Returns the milliseconds until `end`, as poll wants them. Rounds up, because a wait must not end early.
int ToPoll(std::optional<Clock::time_point> end)
{
    if (!end)
    {
        return -1;
    }
    const auto left = std::chrono::ceil<milliseconds>(*end - Clock::now());
    return static_cast<int>(std::clamp<milliseconds::rep>(left.count(), 0, std::numeric_limits<int>::max()));
}

} // namespace

Readiness Await(int socket, Readiness wanted, int wakeup, std::optional<milliseconds> limit)
{
    if (socket < 0)
    {
        return {.input = wanted.input, .room = wanted.room}; // the next read or write reports the failure
    }
    constexpr milliseconds longest = std::chrono::hours(24);
    std::optional<Clock::time_point> end;
    if (limit && limit->count() > 0)
    {
        end = Clock::now() + std::min(*limit, longest);
    }
    const auto events = static_cast<short>((wanted.input ? POLLIN : 0) | (wanted.room ? POLLOUT : 0));
    std::array<pollfd, 2> polled = {pollfd{socket, events, 0}, pollfd{wakeup, POLLIN, 0}};
    int ready = poll(polled.data(), polled.size(), limit && limit->count() <= 0 ? 0 : ToPoll(end));
    while (ready < 0 && errno == EINTR)
    {
        ready = poll(polled.data(), polled.size(), limit && limit->count() <= 0 ? 0 : ToPoll(end));
    }
    if (ready < 0)
    {
        return {.input = wanted.input, .room = wanted.room};
    }
    const bool failed = (polled[0].revents & (POLLERR | POLLHUP | POLLNVAL)) != 0;
    return {.input = wanted.input && (failed || (polled[0].revents & POLLIN) != 0),
            .room = wanted.room && (failed || (polled[0].revents & POLLOUT) != 0),
            .wakeup = polled[1].revents != 0};
}

std::ptrdiff_t Receive(int socket, std::span<char> place)
{
    const ssize_t received = recv(socket, place.data(), place.size(), MSG_DONTWAIT);
    if (received == 0)
    {
        return ended;
    }
    return received < 0 && IsForLater(errno) ? 0 : received;
}

std::ptrdiff_t Send(int socket, std::span<const std::string_view> pieces, bool more)
{
    std::array<iovec, mostPieces> vectors;
    std::size_t count = 0;
    for (const std::string_view piece : pieces)
    {
        if (count == vectors.size())
        {
            more = true;
            break;
        }
        if (!piece.empty())
        {
            vectors[count++] = {const_cast<char*>(piece.data()), piece.size()};
        }
    }
    const int flags = MSG_NOSIGNAL | MSG_DONTWAIT | Announce(more);
    // For a single piece send is faster than sendmsg.
    ssize_t sent = -1;
    if (count == 1)
    {
        sent = send(socket, vectors[0].iov_base, vectors[0].iov_len, flags);
    }
    else
    {
        msghdr message{};
        message.msg_iov = vectors.data();
        message.msg_iovlen = count;
        sent = sendmsg(socket, &message, flags);
    }
    return sent < 0 && IsForLater(errno) ? 0 : sent;
}

void Push(int socket)
{
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

bool Cork([[maybe_unused]] int socket, [[maybe_unused]] bool on)
{
#ifdef TCP_CORK
    const int value = on ? 1 : 0;
    return setsockopt(socket, IPPROTO_TCP, TCP_CORK, &value, sizeof value) == 0;
#else
    return false;
#endif
}

void Shut(int socket)
{
    shutdown(socket, SHUT_RDWR);
}

} // namespace Amqp::Socket
