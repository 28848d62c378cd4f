// System calls for a TCP socket, as free functions. Nothing is owned here: each function takes the descriptor that
// amqp_get_sockfd returns at that moment. If the descriptor is -1, or the system lacks an option, the function does
// nothing or reports a failure. Only the connection's thread calls these functions.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

namespace Amqp::Socket
{

/// What a wait is for, or what ended it.
struct Readiness
{
    bool input = false;  ///< Something can be read, or the stream has ended.
    bool room = false;   ///< A good part of the send buffer is free, or the socket has failed.
    bool wakeup = false; ///< The descriptor `wakeup` can be read.
};

/// Waits until the socket is ready for what is wanted, until the descriptor `wakeup` can be read, or until the limit is
/// over. `wakeup` may be -1. Without a limit the wait is unbounded. A signal does not end the wait. Returns what is
/// ready: nothing if the limit is over.
Readiness Await(int socket, Readiness wanted, int wakeup, std::optional<std::chrono::milliseconds> limit);

/// Hands the pieces to the kernel, in their order, as far as possible without waiting. Returns the number of bytes
/// that the kernel took, or -1 if the socket has failed. With `more` the kernel may hold the last bytes back until the
/// next Send, for at most 200 ms.
std::ptrdiff_t Send(int socket, std::span<const std::string_view> pieces, bool more);

/// Reads what has arrived, without waiting. Returns the number of bytes, 0 if nothing has arrived, -1 if the socket has
/// failed, or `ended` at the end of the stream.
std::ptrdiff_t Receive(int socket, std::span<char> place);
inline constexpr std::ptrdiff_t ended = -2;

/// Makes the kernel send at once what it holds back, after a Send with `more` or on a corked socket.
void Push(int socket);

/// Makes the kernel hold back everything but full segments, for at most 200 ms; or stops this, and sends the rest.
/// Returns whether the system can do so.
bool Cork(int socket, bool on);

/// Ends the stream in both directions. The descriptor stays open.
void Shut(int socket);

} // namespace Amqp::Socket
