// Calls of the kernel for a TCP socket. Free functions. Each takes the descriptor that amqp_get_sockfd returns at that
// moment. If the descriptor is -1, or the system lacks an option, the function does nothing or reports a failure.
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
    bool wakeup = false; ///< The second descriptor can be read.
};

/// Waits until the socket is ready for what is wanted, or `wakeup`, another descriptor, can be read (-1: there is
/// none), or the limit is over; without a limit for ever. Nothing is ready then. A signal does not end it.
Readiness Await(int socket, Readiness wanted, int wakeup, std::optional<std::chrono::milliseconds> limit);

/// Hands over as much of the pieces, one after the other, as can be taken without waiting: how many octets, 0 when it
/// can take none, -1 when it has failed. With `more` the kernel may keep the end until what follows has been handed
/// over, for at most 200 ms.
std::ptrdiff_t Send(int socket, std::span<const std::string_view> pieces, bool more);

/// Reads as much as there is without waiting: how many octets, 0 when there is none, -1 when it has failed, or `ended`.
std::ptrdiff_t Receive(int socket, std::span<char> place);
inline constexpr std::ptrdiff_t ended = -2;

/// Sends at once what the kernel holds back, because more was announced or because it is corked.
void Push(int socket);

/// Lets the kernel hold back all but full segments, for at most 200 ms, or ends that and sends the rest; gives whether
/// it does.
bool Cork(int socket, bool on);

/// Ends the stream in both directions; the descriptor stays.
void Shut(int socket);

} // namespace Amqp::Socket
