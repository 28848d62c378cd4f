#include "connection/SocketOptions.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <limits>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#if __has_include(<linux/sock_diag.h>)
#include <linux/sock_diag.h>
#endif

namespace Amqp::Socket
{

namespace
{

int Announce([[maybe_unused]] bool more)
{
#ifdef MSG_MORE
    return more ? MSG_MORE : 0;
#else
    return 0;
#endif
}

} // namespace

std::optional<std::chrono::milliseconds> SinceReceived([[maybe_unused]] int socket)
{
#if defined(__linux__) && defined(TCP_INFO) // elsewhere its times need not be milliseconds
    tcp_info info{};
    socklen_t size = sizeof info;
    constexpr std::size_t needed = offsetof(tcp_info, tcpi_last_data_recv) + sizeof info.tcpi_last_data_recv;
    if (getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &size) == 0 && size >= needed)
    {
        return std::chrono::milliseconds(info.tcpi_last_data_recv);
    }
#endif
    return {};
}

#ifdef SO_MEMINFO
namespace
{

using Memory = std::array<std::uint32_t, SK_MEMINFO_VARS>;

std::optional<Memory> MemoryOf(int socket)
{
    Memory memory{};
    socklen_t size = sizeof memory;
    constexpr std::size_t needed = (SK_MEMINFO_WMEM_QUEUED + 1) * sizeof(std::uint32_t); // the last one looked at
    if (getsockopt(socket, SOL_SOCKET, SO_MEMINFO, memory.data(), &size) == 0 && size >= needed)
    {
        return memory;
    }
    return {};
}

} // namespace
#endif

std::optional<std::size_t> Room([[maybe_unused]] int socket)
{
#ifdef SO_MEMINFO
    if (const auto memory = MemoryOf(socket))
    {
        const std::uint32_t limit = (*memory)[SK_MEMINFO_SNDBUF];
        return limit - std::min(limit, (*memory)[SK_MEMINFO_WMEM_QUEUED]);
    }
#endif
    return {};
}

bool InputIsCrowded([[maybe_unused]] int socket)
{
#ifdef SO_MEMINFO
    if (const auto memory = MemoryOf(socket))
    {
        return (*memory)[SK_MEMINFO_RMEM_ALLOC] > (*memory)[SK_MEMINFO_RCVBUF] / 2;
    }
#endif
    return false;
}

void WriteLimit([[maybe_unused]] int socket, [[maybe_unused]] std::chrono::milliseconds limit)
{
#ifdef TCP_USER_TIMEOUT
    const auto milliseconds = static_cast<unsigned>(limit.count());
    setsockopt(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, &milliseconds, sizeof milliseconds);
#endif
}

std::ptrdiff_t Send(int socket, std::span<const std::string_view> pieces, bool more)
{
    std::array<iovec, 3> vectors;
    std::size_t count = 0;
    for (const std::string_view piece : pieces)
    {
        if (!piece.empty() && count < vectors.size())
        {
            vectors[count++] = {const_cast<char*>(piece.data()), piece.size()};
        }
    }
    const int flags = MSG_NOSIGNAL | MSG_DONTWAIT | Announce(more);
    // One piece takes less time this way.
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
    return sent < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR) ? 0 : sent;
}

void Push(int socket)
{
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

bool AwaitWritable(int socket, std::chrono::milliseconds limit)
{
    constexpr std::chrono::milliseconds longest(std::numeric_limits<int>::max());
    pollfd waiting{socket, POLLOUT, 0};
    int ready = poll(&waiting, 1, 0);
    if (ready == 0 && limit.count() > 0)
    {
        Push(socket); // what the kernel holds back takes room, too
        ready = poll(&waiting, 1, static_cast<int>(std::min(limit, longest).count()));
    }
    return ready > 0 || (ready < 0 && errno != EINTR);
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

} // namespace Amqp::Socket
