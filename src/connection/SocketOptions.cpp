#include "connection/SocketOptions.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#if __has_include(<linux/sock_diag.h>)
#include <linux/sock_diag.h>
#endif

namespace Amqp::Socket
{

std::optional<std::chrono::milliseconds> SinceReceived([[maybe_unused]] int socket)
{
#ifdef TCP_INFO
    tcp_info info{};
    socklen_t size = sizeof info;
    if (getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &size) == 0)
    {
        return std::chrono::milliseconds(info.tcpi_last_data_recv);
    }
#endif
    return {};
}

std::optional<std::size_t> Room([[maybe_unused]] int socket)
{
#ifdef SO_MEMINFO
    std::array<std::uint32_t, SK_MEMINFO_VARS> memory{};
    socklen_t size = sizeof memory;
    if (getsockopt(socket, SOL_SOCKET, SO_MEMINFO, memory.data(), &size) == 0)
    {
        const std::uint32_t limit = memory[SK_MEMINFO_SNDBUF];
        return limit - std::min(limit, memory[SK_MEMINFO_WMEM_QUEUED]);
    }
#endif
    return {};
}

bool AwaitWritable(int socket, std::chrono::milliseconds limit)
{
    constexpr std::chrono::milliseconds longest(std::numeric_limits<int>::max());
    pollfd waiting{socket, POLLOUT, 0};
    return poll(&waiting, 1, static_cast<int>(std::min(limit, longest).count())) != 0;
}

void WriteLimit([[maybe_unused]] int socket, [[maybe_unused]] std::chrono::milliseconds limit)
{
#ifdef TCP_USER_TIMEOUT
    const auto milliseconds = static_cast<unsigned>(limit.count());
    setsockopt(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, &milliseconds, sizeof milliseconds);
#endif
}

void Push(int socket)
{
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

} // namespace Amqp::Socket
