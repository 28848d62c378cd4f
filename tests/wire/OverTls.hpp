// Connections over TLS to a scripted broker that speaks TLS, too. Only for executables with OverTls.cpp, which replaces
// amqp_ssl_socket_new: no authority vouches for the broker's certificate, so the client must not check it.
#pragma once

#include "LoginOptions.hpp"

namespace OverTls
{

extern bool noSocket; // rabbitmq-c then returns no TLS socket

} // namespace OverTls

// The user is the identity; there is no password.
inline std::shared_ptr<Amqp::Connection> LogInOverTls(std::uint16_t port, const LoginOptions& options)
{
    return std::make_shared<Amqp::Connection>("127.0.0.1", port, options.user, options.virtualHost, options.properties,
                                              consumeWait, options.heartbeat, options.frameMax);
}

inline std::shared_ptr<Amqp::Connection> LogIn(const ScriptedBroker& broker, const LoginOptions& options, bool tls)
{
    return tls ? LogInOverTls(broker.Port(), options) : LogIn(broker, options);
}

// What the broker sees of it.
inline LoginScript LoginOver(bool tls, LoginScript script = {})
{
    if (tls)
    {
        script.mechanism = "EXTERNAL";
        script.response = "guest";
    }
    return script;
}
