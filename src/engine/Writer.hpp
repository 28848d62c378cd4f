// Writes messages and methods as frames, in one call of the kernel if the socket has room. If the socket has no room,
// Writer waits, and meanwhile reads and parks what arrives, so that two peers never wait for each other. If the peer
// stays silent for two heartbeat intervals, the session fails. Belongs to one session; only the connection's thread
// uses it.
#pragma once

#include "engine/Gathering.hpp"
#include "engine/Inbound.hpp"
#include "engine/MessageFrames.hpp"
#include "engine/OutgoingMessage.hpp"
#include "engine/Session.hpp"

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace Amqp
{

class Writer
{
public:
    Writer(Session& owner, Inbound& incoming) : session(owner), inbound(incoming) {}

    /// Allows gathering, except over TLS. Call Start when the socket is open.
    void Start();

    // Each function that returns an int returns AMQP_STATUS_OK or a negative status. If the status is the session's
    // failure, nothing more can be written. After any other negative status, nothing was written and the session is
    // still usable.

    /// Checks that the session is usable. If the peer has been silent for one heartbeat interval, reads what has
    /// arrived. If the peer has been silent for two, fails the session.
    int Usable();

    int Message(std::uint16_t channel, const OutgoingMessage& message);
    int Method(std::uint16_t channel, amqp_method_number_t id, void* fields);
    /// Sends a handler's verdict. With `more` the kernel may hold the verdict back until the next write or Push. If the
    /// write fails, the next read or write reports the failure.
    void Verdict(std::uint16_t channel, amqp_method_number_t id, void* fields, bool more);
    /// Sends a method of a close handshake. The broker waits for the method, and no write may follow that pushes it
    /// out. So a batch does not hold the method back.
    void Answer(std::uint16_t channel, amqp_method_number_t id, void* fields);
    /// Sends a method as far as the socket has room, even if the session has failed.
    void MethodIfRoom(std::uint16_t channel, amqp_method_number_t id, void* fields);
    /// Sends a heartbeat, unless the socket has no room. The bytes that wait there show the peer that we are alive.
    int Heartbeat(Clock::time_point now);

    /// Makes the kernel send what it holds back because more was to follow.
    void Push();

    Gathering& Gathered() { return gathering; }

private:
    int WriteMessage(std::uint16_t channel, const OutgoingMessage& message);
    std::string_view Encode(std::uint16_t channel, amqp_method_number_t id, void* fields, int& status);
    int HandOver(std::span<std::string_view> pieces, bool more);
    int AwaitRoom();

    Session& session;
    Inbound& inbound;
    Gathering gathering;
    bool keptBack = false;
    MessageFrames::Room room; // its `large` is also for a method that is too long for `small`
    std::array<char, 1024> small;
};

} // namespace Amqp
