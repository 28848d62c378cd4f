// Sockets with deadlines. A Listener is bound to a loopback port of the system's choice, a Stream is one accepted
// connection; each owns its descriptor and is used by one thread at a time. No wait is longer than the deadline, which
// the broker owns and may change from another thread while a wait is going on.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "TlsServer.hpp"

namespace Wire
{

constexpr std::chrono::milliseconds defaultDeadline{5000};
using SharedDeadline = std::atomic<std::chrono::milliseconds>;

class Descriptor
{
public:
    explicit Descriptor(int owned = -1);
    ~Descriptor();
    Descriptor(Descriptor&& other) noexcept;
    Descriptor& operator=(Descriptor&& other) noexcept;

    int Get() const;
    void Close();

private:
    int fd;
};

Descriptor ConnectTo(std::uint16_t port); // on loopback, non-blocking; on failure it holds none, and errno says why
void CloseInOrder(Descriptor& socket);    // the peer reads all that was sent, then the end of the stream
void CloseWithReset(Descriptor& socket);
void SendAtOnce(const Descriptor& socket); // a small write does not wait until the one before is acknowledged
bool WouldBlock(int error);                // whether a non-blocking call that failed is to be tried again

class Stream
{
public:
    enum class Outcome
    {
        Ready,
        Ended,
        TimedOut
    };

    Stream(Descriptor socket, const SharedDeadline& deadline);

    // Waits for the client's TLS handshake. Afterwards everything is encrypted. If the client breaks TLS itself, the
    // functions throw TlsFailure.
    Outcome StartTls();

    // Appends what has arrived, waiting for it until the deadline or for the time given.
    Outcome Receive(std::string& buffer);
    Outcome Receive(std::string& buffer, std::chrono::milliseconds limit);
    Outcome Send(std::string_view bytes);

    void EndOutput(); // the other side reads the end of the stream, receiving goes on
    void CutOutput(); // like EndOutput, but over TLS without close_notify
    void Close();     // orderly: the client reads all that was sent, then the end of the stream
    void Reset();     // the client gets a connection reset

private:
    Outcome ReceiveWithin(std::string& buffer, const SharedDeadline& limit);
    Outcome ReceiveBytes(std::string& buffer, const SharedDeadline& limit);
    Outcome SendBytes(std::string_view bytes);
    Outcome ShakeHands();
    void EndTls();

    Descriptor socket;
    const SharedDeadline* deadline;
    std::optional<TlsServer> tls;
};

class Listener
{
public:
    Listener(); // listens at once, throws std::system_error when that fails

    std::uint16_t Port() const;
    int Socket() const;                                // non-blocking; for those who wait for more than one thing
    Descriptor Accept(const SharedDeadline& deadline); // holds no descriptor when nobody came
    void Close();

private:
    Descriptor socket;
    std::uint16_t port = 0;
};

} // namespace Wire
