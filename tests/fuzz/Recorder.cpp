#include "Recorder.hpp"

#include <array>
#include <cerrno>
#include <system_error>

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Fuzz
{

namespace
{

constexpr int patience = 10'000; // milliseconds without a word from either side

int ConnectTo(std::uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0 || ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
    {
        throw std::system_error(errno, std::generic_category(), "connect to the broker");
    }
    return fd;
}

// Hands on what is there; false at the end. Appends it to the record if there is one.
bool HandOn(int from, int to, std::string* record)
{
    std::array<char, 65536> chunk{};
    const ssize_t count = ::recv(from, chunk.data(), chunk.size(), 0);
    if (count <= 0)
    {
        ::shutdown(to, SHUT_WR);
        return false;
    }
    if (record != nullptr)
    {
        record->append(chunk.data(), static_cast<std::size_t>(count));
    }
    for (ssize_t sent = 0; sent < count;)
    {
        pollfd ready{to, POLLOUT, 0};
        ::poll(&ready, 1, patience);
        const ssize_t more = ::send(to, chunk.data() + sent, static_cast<std::size_t>(count - sent), MSG_NOSIGNAL);
        if (more < 0)
        {
            return false;
        }
        sent += more;
    }
    return true;
}

} // namespace

Recorder::Recorder(std::uint16_t brokerPort) : thread([this, brokerPort] { Relay(brokerPort); }) {}

Recorder::~Recorder()
{
    Finish();
}

std::string Recorder::Finish()
{
    if (thread.joinable())
    {
        thread.join();
    }
    return recorded;
}

void Recorder::Relay(std::uint16_t brokerPort)
{
    const Wire::SharedDeadline deadline{Wire::defaultDeadline};
    const Wire::Descriptor client = listener.Accept(deadline);
    if (client.Get() < 0)
    {
        return;
    }
    const Wire::Descriptor broker(ConnectTo(brokerPort));
    std::array<pollfd, 2> ends{pollfd{client.Get(), POLLIN, 0}, pollfd{broker.Get(), POLLIN, 0}};
    while ((ends[0].fd >= 0 || ends[1].fd >= 0) && ::poll(ends.data(), ends.size(), patience) > 0)
    {
        if (ends[0].revents != 0 && !HandOn(client.Get(), broker.Get(), nullptr))
        {
            ends[0].fd = -1;
        }
        if (ends[1].revents != 0 && !HandOn(broker.Get(), client.Get(), &recorded))
        {
            ends[1].fd = -1;
        }
    }
}

} // namespace Fuzz
