// Sends bytes to the peer and receives bytes from it, over TCP or TLS, and never waits. rabbitmq-c opens and owns the
// socket, and logs in. Afterwards Stream bypasses rabbitmq-c, which would wait for room without reading, and would read
// a clock for each frame. Belongs to the connection's thread. Destroy a Stream before rabbitmq-c's state.
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
    /// Makes this a stream over TCP.
    void Use(amqp_connection_state_t connection) { state = connection; }
    /// Makes this a stream over TLS. Call UseTls before amqp_socket_open, which makes the TLS connection.
    void UseTls(amqp_connection_state_t connection, amqp_socket_t* socket);

    /// Returns whether the stream is over TCP alone. Only then can the kernel hold bytes back.
    bool IsPlain() const { return !tls; }

    /// Hands over the pieces as far as possible without waiting. Returns the number of bytes that were taken, or a
    /// negative status. After 0 the caller has to hand over the same pieces again. With `more` the kernel may hold the
    /// last bytes back for a moment.
    std::ptrdiff_t Send(std::span<const std::string_view> pieces, bool more);

    /// Returns whether the latest Send can only be repeated after something has been read. TLS itself may first need
    /// bytes from the peer.
    bool WaitsForInput() const { return waitsForInput; }

    /// Reads what has arrived, without waiting. Returns the number of bytes, 0 if nothing has arrived, or a negative
    /// status.
    std::ptrdiff_t Receive(std::span<char> place);

private:
    // The most bytes that TLS puts into one record.
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
