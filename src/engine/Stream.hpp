// Octets to the peer and from it, over TCP or TLS, without ever waiting. rabbitmq-c opens the socket, owns it and logs
// in; afterwards octets go past it: it waits for room without reading what comes meanwhile, and reads a clock for each
// frame. Belongs to the connection's thread; goes before rabbitmq-c's state.
#pragma once

#include "values/RabbitMq.hpp"

#include <array>
#include <cstddef>
#include <memory>
#include <span>
#include <string_view>

struct ssl_st;

namespace Amqp
{

class Stream
{
public:
    /// Over TCP.
    void Use(amqp_connection_state_t connection) { state = connection; }
    /// Over TLS, before the socket is opened: the connection in TLS is made by amqp_socket_open.
    void UseTls(amqp_connection_state_t connection, amqp_socket_t* socket);

    /// Whether the kernel gets the octets as they are, and can hold them back.
    bool IsPlain() const { return !tls; }

    /// Hands over as much of the pieces as can be taken without waiting: how many octets, or a negative status. After
    /// 0 the same pieces have to be handed over again. With `more` the kernel may keep their end for a moment.
    std::ptrdiff_t Send(std::span<const std::string_view> pieces, bool more);

    /// Whether the latest Send can only go on when something has been read: TLS has something to settle first.
    bool WaitsForInput() const { return waitsForInput; }

    /// Reads what there is without waiting: how many octets, 0 when there is none, or a negative status.
    std::ptrdiff_t Receive(std::span<char> place);

private:
    // What TLS puts into one record.
    static constexpr std::size_t record = 16384;

    struct Release
    {
        void operator()(ssl_st* owned) const;
    };

    static void Adopt(const ssl_st* handshaking, int where, int result);
    std::ptrdiff_t SendRecord(std::span<const std::string_view> pieces);
    std::ptrdiff_t Outcome(int result) const;

    amqp_connection_state_t state = nullptr;
    std::unique_ptr<ssl_st, Release> tls;
    bool waitsForInput = false;
    std::unique_ptr<std::array<char, record>> gathered;
};

} // namespace Amqp
