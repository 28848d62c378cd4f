#include "PeerProcess.hpp"

#include "Peer.hpp"

#include <array>
#include <cerrno>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace Bench
{

namespace
{

// Serves as the peer until the other end of the lifeline is closed. Runs in the new process.
[[noreturn]] void BePeer(Wire::Descriptor lifeline)
{
    {
        const Peer peer("127.0.0.1");
        const std::uint16_t port = peer.Port();
        char end = 0;
        if (write(lifeline.Get(), &port, sizeof port) == sizeof port)
        {
            while (read(lifeline.Get(), &end, 1) > 0)
            {
            }
        }
    }
    _exit(0);
}

} // namespace

PeerProcess::PeerProcess()
{
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
    {
        throw std::system_error(errno, std::generic_category(), "socketpair");
    }
    lifeline = Wire::Descriptor(ends[0]);
    Wire::Descriptor other(ends[1]);
    process = fork();
    if (process == 0)
    {
        lifeline.Close();
        BePeer(std::move(other));
    }
    other.Close();
    if (process < 0 || read(lifeline.Get(), &port, sizeof port) != sizeof port)
    {
        throw std::runtime_error("the peer did not start");
    }
}

PeerProcess::~PeerProcess()
{
    lifeline.Close();
    waitpid(process, nullptr, 0);
}

} // namespace Bench
