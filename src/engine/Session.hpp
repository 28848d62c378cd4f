// One session with a broker, from opening the socket to the end of the stream: rabbitmq-c's state, which it owns, what
// was agreed at login, and the first failure, which stays. Knows frames and nothing of what they mean. Belongs to one
// thread.
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
    const char* user; // the identity, with SASL EXTERNAL
    const char* password;
};

class Session
{
public:
    /// @throws std::runtime_error  rabbitmq-c has no memory.
    Session();

    /// @throws std::runtime_error  as its text says.
    void OpenTcp(const char* host, unsigned short port);
    void OpenTls(const char* host, unsigned short port);
    /// Logs in, and takes the heartbeats over from rabbitmq-c.
    amqp_rpc_reply_t LogIn(const Login& login, const Table& properties);

    amqp_connection_state_t State() const { return state.get(); }
    /// -1 when there is none, or no longer.
    int Descriptor() const { return amqp_get_sockfd(State()); }
    bool HasSocket() const { return amqp_get_socket(State()) != nullptr; }
    std::size_t FrameMax() const { return frameMax; }

    Stream& Line() { return stream; }
    Heartbeats& Pulse() { return heartbeats; }

    /// What ended the session: AMQP_STATUS_OK while it goes on.
    int Failure() const { return failure; }
    /// Notes a failure. Keeps the first failure, unless only the new one makes reading unsafe. Returns the failure that
    /// was kept.
    int Fail(int status);
    /// The peer has been silent for two heartbeat intervals: it is not waited for any more.
    int GiveUpPeer();
    /// Whether what the peer sent before a failure can still be read.
    bool IsReadable() const;

private:
    struct StateDeleter
    {
        void operator()(amqp_connection_state_t owned) const { amqp_destroy_connection(owned); }
    };

    std::unique_ptr<amqp_connection_state_t_, StateDeleter> state;
    Stream stream;
    Heartbeats heartbeats;
    std::size_t frameMax = 0; // as the login settled it
    int failure = AMQP_STATUS_OK;
};

} // namespace Amqp
