#include "engine/Stream.hpp"

#include "engine/Socket.hpp"

#include <algorithm>

#include <openssl/err.h>
#include <openssl/ssl.h>

namespace Amqp
{

void Stream::Release::operator()(ssl_st* owned) const
{
    SSL_free(owned);
}

void Stream::UseTls(amqp_connection_state_t connection, amqp_socket_t* socket)
{
    Use(connection);
    gathered = std::make_unique<std::array<char, record>>();
    // rabbitmq-c gives access to OpenSSL's context, but not to the connection that it makes from the context. OpenSSL
    // passes the connection to the callback.
    auto* const context = static_cast<SSL_CTX*>(amqp_ssl_socket_get_context(socket));
    SSL_CTX_set_app_data(context, this);
    SSL_CTX_set_info_callback(context, Adopt);
}

void Stream::Adopt(const ssl_st* handshaking, int where, int /*result*/)
{
    auto* const self = static_cast<Stream*>(SSL_CTX_get_app_data(SSL_get_SSL_CTX(handshaking)));
    if ((where & SSL_CB_HANDSHAKE_START) == 0 || self->tls)
    {
        return; // a later handshake within the same connection
    }
    auto* const connection = const_cast<SSL*>(handshaking);
    SSL_up_ref(connection);
    self->tls.reset(connection);
    // If there was no room, SendRecord copies the pieces into its buffer again. OpenSSL has to accept this buffer, and
    // may take only some of the bytes.
    SSL_set_mode(connection, SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
}

std::ptrdiff_t Stream::Send(std::span<const std::string_view> pieces, bool more)
{
    if (tls)
    {
        return SendRecord(pieces);
    }
    const std::ptrdiff_t sent = Socket::Send(amqp_get_sockfd(state), pieces, more);
    return sent < 0 ? static_cast<std::ptrdiff_t>(AMQP_STATUS_SOCKET_ERROR) : sent;
}

std::ptrdiff_t Stream::Receive(std::span<char> place)
{
    if (!tls)
    {
        const std::ptrdiff_t received = Socket::Receive(amqp_get_sockfd(state), place);
        const int status = received == Socket::ended ? AMQP_STATUS_CONNECTION_CLOSED : AMQP_STATUS_SOCKET_ERROR;
        return received < 0 ? static_cast<std::ptrdiff_t>(status) : received;
    }
    if (amqp_get_sockfd(state) < 0)
    {
        return AMQP_STATUS_SOCKET_CLOSED;
    }
    ERR_clear_error();
    const int received = SSL_read(tls.get(), place.data(), static_cast<int>(place.size()));
    return received > 0 ? received : Outcome(received);
}

std::ptrdiff_t Stream::SendRecord(std::span<const std::string_view> pieces)
{
    if (amqp_get_sockfd(state) < 0)
    {
        return AMQP_STATUS_SOCKET_CLOSED; // the descriptor's number may belong to another file by now
    }
    std::size_t size = 0;
    for (std::string_view piece : pieces)
    {
        piece = piece.substr(0, record - size);
        std::copy(piece.begin(), piece.end(), gathered->data() + size);
        size += piece.size();
    }
    ERR_clear_error();
    const int sent = SSL_write(tls.get(), gathered->data(), static_cast<int>(size));
    waitsForInput = sent <= 0 && SSL_get_error(tls.get(), sent) == SSL_ERROR_WANT_READ;
    return sent > 0 ? sent : Outcome(sent);
}

std::ptrdiff_t Stream::Outcome(int result) const
{
    switch (SSL_get_error(tls.get(), result))
    {
    case SSL_ERROR_WANT_READ:
    case SSL_ERROR_WANT_WRITE:
        return 0;
    case SSL_ERROR_ZERO_RETURN:
        return AMQP_STATUS_CONNECTION_CLOSED;
    default:
        return AMQP_STATUS_SSL_ERROR;
    }
}

} // namespace Amqp
