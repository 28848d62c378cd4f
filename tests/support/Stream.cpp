// Non-blocking sockets behind waits that end.
#include "Stream.hpp"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Wire
{

namespace
{

// How soon a wait notices that the deadline was changed meanwhile; data ends it at once.
constexpr std::chrono::milliseconds slice{20};

bool Wait(int fd, short events, const SharedDeadline& limit)
{
    const auto start = std::chrono::steady_clock::now();
    while (true)
    {
        const auto passed = std::chrono::steady_clock::now() - start;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(limit.load() - passed);
        pollfd entry{fd, events, 0};
        const int ready = ::poll(&entry, 1, static_cast<int>(std::clamp(left, left.zero(), slice).count()));
        if (ready > 0)
        {
            return true;
        }
        if (ready == 0 && left <= left.zero())
        {
            return false;
        }
    }
}

} // namespace

Descriptor::Descriptor(int owned) : fd(owned) {}

Descriptor::~Descriptor()
{
    Close();
}

Descriptor::Descriptor(Descriptor&& other) noexcept : fd(std::exchange(other.fd, -1)) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept
{
    std::swap(fd, other.fd);
    return *this;
}

int Descriptor::Get() const
{
    return fd;
}

void Descriptor::Close()
{
    if (fd >= 0)
    {
        ::close(std::exchange(fd, -1));
    }
}

Descriptor ConnectTo(std::uint16_t port)
{
    Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    if (::connect(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::fcntl(socket.Get(), F_SETFL, O_NONBLOCK) != 0)
    {
        const int error = errno;
        socket.Close();
        errno = error;
    }
    return socket;
}

void CloseInOrder(Descriptor& socket)
{
    ::shutdown(socket.Get(), SHUT_WR);
    // Closing with octets unread would send a reset.
    char chunk[65536];
    while (::recv(socket.Get(), chunk, sizeof chunk, 0) > 0)
    {
    }
    socket.Close();
}

void CloseWithReset(Descriptor& socket)
{
    const linger now{1, 0};
    ::setsockopt(socket.Get(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
    socket.Close();
}

void SendAtOnce(const Descriptor& socket)
{
    const int on = 1;
    ::setsockopt(socket.Get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

bool WouldBlock(int error)
{
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

Stream::Stream(Descriptor connected, const SharedDeadline& limit) : socket(std::move(connected)), deadline(&limit)
{
    SendAtOnce(socket);
}

Stream::Outcome Stream::StartTls()
{
    tls.emplace();
    try
    {
        return ShakeHands();
    }
    catch (const TlsFailure&)
    {
        SendBytes(tls->ToSend()); // the alert for the client
        throw;
    }
}

Stream::Outcome Stream::ShakeHands()
{
    while (true)
    {
        const bool complete = tls->Handshake();
        Outcome outcome = SendBytes(tls->ToSend());
        if (complete || outcome != Outcome::Ready)
        {
            return outcome;
        }
        std::string arrived;
        outcome = ReceiveBytes(arrived, *deadline);
        if (outcome != Outcome::Ready)
        {
            return outcome;
        }
        tls->Take(arrived);
    }
}

Stream::Outcome Stream::Receive(std::string& buffer)
{
    return ReceiveWithin(buffer, *deadline);
}

Stream::Outcome Stream::Receive(std::string& buffer, std::chrono::milliseconds limit)
{
    const SharedDeadline fixed{limit};
    return ReceiveWithin(buffer, fixed);
}

Stream::Outcome Stream::ReceiveWithin(std::string& buffer, const SharedDeadline& limit)
{
    if (!tls)
    {
        return ReceiveBytes(buffer, limit);
    }
    // The stream may hold data before any more bytes arrive: the client may send data together with the end of its
    // handshake.
    while (!tls->Decrypt(buffer))
    {
        if (tls->Ended())
        {
            return Outcome::Ended;
        }
        std::string arrived;
        const Outcome outcome = ReceiveBytes(arrived, limit);
        if (outcome != Outcome::Ready)
        {
            return outcome;
        }
        tls->Take(arrived);
    }
    return Outcome::Ready;
}

Stream::Outcome Stream::ReceiveBytes(std::string& buffer, const SharedDeadline& limit)
{
    char chunk[65536];
    while (Wait(socket.Get(), POLLIN, limit))
    {
        const ssize_t count = ::recv(socket.Get(), chunk, sizeof chunk, 0);
        if (count > 0)
        {
            buffer.append(chunk, static_cast<std::size_t>(count));
            return Outcome::Ready;
        }
        // A client that closes with octets of the broker unread resets the connection: that is an end like another.
        if (count == 0 || !WouldBlock(errno))
        {
            return Outcome::Ended;
        }
    }
    return Outcome::TimedOut;
}

Stream::Outcome Stream::Send(std::string_view bytes)
{
    if (!tls)
    {
        return SendBytes(bytes);
    }
    constexpr std::size_t atOnce = 65536;
    Outcome outcome = Outcome::Ready;
    while (outcome == Outcome::Ready && !bytes.empty())
    {
        tls->Encrypt(bytes.substr(0, atOnce));
        bytes.remove_prefix(std::min(atOnce, bytes.size()));
        outcome = SendBytes(tls->ToSend());
    }
    return outcome;
}

Stream::Outcome Stream::SendBytes(std::string_view bytes)
{
    while (!bytes.empty())
    {
        if (!Wait(socket.Get(), POLLOUT, *deadline))
        {
            return Outcome::TimedOut;
        }
        const ssize_t count = ::send(socket.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count >= 0)
        {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
        else if (!WouldBlock(errno))
        {
            return Outcome::Ended;
        }
    }
    return Outcome::Ready;
}

// Does not wait for room: a client that reads nothing does not read the end either.
void Stream::EndTls()
{
    if (tls)
    {
        tls->End();
        const std::string notice = tls->ToSend();
        ::send(socket.Get(), notice.data(), notice.size(), MSG_NOSIGNAL);
    }
}

void Stream::EndOutput()
{
    EndTls();
    CutOutput();
}

void Stream::CutOutput()
{
    ::shutdown(socket.Get(), SHUT_WR);
}

void Stream::Close()
{
    EndTls();
    CloseInOrder(socket);
}

void Stream::Reset()
{
    CloseWithReset(socket);
}

Listener::Listener() : socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (::bind(socket.Get(), generic, size) != 0 || ::listen(socket.Get(), SOMAXCONN) != 0 ||
        ::getsockname(socket.Get(), generic, &size) != 0)
    {
        throw std::system_error(errno, std::generic_category(), "listen on loopback");
    }
    port = ntohs(address.sin_port);
}

std::uint16_t Listener::Port() const
{
    return port;
}

int Listener::Socket() const
{
    return socket.Get();
}

Descriptor Listener::Accept(const SharedDeadline& deadline)
{
    while (Wait(socket.Get(), POLLIN, deadline))
    {
        Descriptor accepted(::accept4(socket.Get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (accepted.Get() >= 0)
        {
            return accepted;
        }
        if (!WouldBlock(errno) && errno != ECONNABORTED)
        {
            break;
        }
    }
    return Descriptor();
}

void Listener::Close()
{
    socket.Close();
}

} // namespace Wire
