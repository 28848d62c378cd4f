// One session with a broker, from opening the socket to the end of the stream. Owns rabbitmq-c's state, which owns the
// socket. Keeps what was agreed at login, and the first failure. Knows nothing of what frames mean. Belongs to one
// connection; only the connection's thread uses it.
#pragma once

#include "engine/Heartbeats.hpp"
#include "engine/Stream.hpp"
#include "values/RabbitMq.hpp"

#include <amqp/Table.hpp>

#include <chrono>
#include <cstddef>
#include <memory>

namespace Amqp
{

struct Login
{
    const char* virtualHost;
    std::chrono::seconds heartbeat;
    int frameMax;
    amqp_sasl_method_enum method;
    const char* user; // with SASL EXTERNAL: the identity
    const char* password;
};

class Session
{
public:
    /// @throws std::runtime_error  if there is no memory for rabbitmq-c's state.
    Session();

    /// Opens the socket. OpenTls also makes the TLS connection.
    /// @throws std::runtime_error  if there is no memory, or the socket cannot be opened.
    void OpenTcp(const char* host, unsigned short port);
    void OpenTls(const char* host, unsigned short port);
    /// Logs in. Afterwards Heartbeats does what rabbitmq-c's own heartbeats did.
    amqp_rpc_reply_t LogIn(const Login& login, const Table& properties);

    amqp_connection_state_t State() const { return state.get(); }
    /// Returns the socket's descriptor, or -1 if the socket is not open.
    int Descriptor() const { return amqp_get_sockfd(State()); }
    bool HasSocket() const { return amqp_get_socket(State()) != nullptr; }
    std::size_t FrameMax() const { return frameMax; }

    Stream& Line() { return stream; }
    Heartbeats& Pulse() { return heartbeats; }

    /// Returns the session's failure, or AMQP_STATUS_OK if the session has not failed.
    int Failure() const { return failure; }
    /// Fails the session. Keeps the first failure, unless only the new one makes reading unsafe. Returns the failure
    /// that was kept.
    int Fail(int status);
    /// Fails the session, because the peer has been silent for two heartbeat intervals, and shuts the stream down.
    /// Returns the failure that was kept.
    int GiveUpPeer();
    /// Returns whether bytes that the peer sent before a failure can still be read.
    bool IsReadable() const;

private:
    struct StateDeleter
    {
        void operator()(amqp_connection_state_t owned) const { amqp_destroy_connection(owned); }
    };

    std::unique_ptr<amqp_connection_state_t_, StateDeleter> state;
    Stream stream;
    Heartbeats heartbeats;
    std::size_t frameMax = 0; // as agreed at login
    int failure = AMQP_STATUS_OK;
};

} // namespace Amqp
