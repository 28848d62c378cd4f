// What the kernel tells of a TCP socket, and takes for it, that rabbitmq-c does not pass on. Free functions; each takes
// the descriptor that amqp_get_sockfd gives at that moment, and does nothing, or knows nothing, when it is -1. Where a
// system lacks an option, or answers less than it was asked for, likewise.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

namespace Amqp::Socket
{

/// How long ago the last octet arrived, whether it has been read or not.
std::optional<std::chrono::milliseconds> SinceReceived(int socket);

/// How many octets can be written at once; the kernel's own overhead is counted in, so that fewer may fit.
std::optional<std::size_t> Room(int socket);

/// Whether so much has come that nobody has read that the peer may have no room to send more: its silence means
/// nothing.
bool InputIsCrowded(int socket);

/// Waits until a good part of the send buffer is free, or the socket has failed; false when the time is over before.
/// What the kernel holds back is sent first: it might be all that keeps the buffer full.
bool AwaitWritable(int socket, std::chrono::milliseconds limit);

/// How long octets may wait for the peer to take them before the socket fails; 0 for as long as the system lets them.
void WriteLimit(int socket, std::chrono::milliseconds limit);

/// Hands over as much of the pieces, one after the other, as can be taken without waiting: how many octets, 0 when it
/// can take none, -1 when it has failed. With `more` the kernel may keep the end until what follows has been handed
/// over.
std::ptrdiff_t Send(int socket, std::span<const std::string_view> pieces, bool more);

/// Sends at once what the kernel holds back, because more was announced or because it is corked.
void Push(int socket);

/// Lets the kernel hold back all but full segments, for at most 200 ms, or ends that and sends the rest; gives whether
/// it does.
bool Cork(int socket, bool on);

} // namespace Amqp::Socket
