// The one way out: messages and methods as frames, handed to the kernel in one call where the socket has room. While it
// has none, what arrives is taken in and parked, so that two peers never wait for each other; a peer that stays silent
// meanwhile is given up. Belongs to one session and its thread.
#pragma once

#include "engine/Gathering.hpp"
#include "engine/Inbound.hpp"
#include "engine/OutgoingMessage.hpp"
#include "engine/Session.hpp"

#include <array>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace Amqp
{

class Writer
{
public:
    Writer(Session& owner, Inbound& incoming) : session(owner), inbound(incoming) {}

    /// Once the socket is open.
    void Start();

    // All give AMQP_STATUS_OK or a negative status. After that of the session's failure nothing more can be written;
    // after any other nothing has been.

    /// Whether the session goes on, and its peer gives signs of life: asked before what would be waited for.
    int Usable();

    int Message(std::uint16_t channel, const OutgoingMessage& message);
    int Method(std::uint16_t channel, amqp_method_number_t id, void* fields);
    /// What a handler says of its delivery. With `more` the kernel may keep it until something follows, or Push. When
    /// it cannot be written, reading or the next write will say why.
    void Verdict(std::uint16_t channel, amqp_method_number_t id, void* fields, bool more);
    /// An answer that the broker waits for, and after which nothing may follow: not held back by a batch.
    void Answer(std::uint16_t channel, amqp_method_number_t id, void* fields);
    /// A method if the socket has room for it, whatever the session failed of.
    void MethodIfRoom(std::uint16_t channel, amqp_method_number_t id, void* fields);
    /// A heartbeat; not when there is no room: then the peer has octets enough to come.
    int Heartbeat(Clock::time_point now);

    /// Sends what the kernel keeps because more was to follow.
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
    std::vector<char> room; // for what is too long to be encoded elsewhere
    std::array<char, 1024> small;
};

} // namespace Amqp
