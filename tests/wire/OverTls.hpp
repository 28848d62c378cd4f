// Connections over TLS, for executables that stand in for amqp_ssl_socket_new: no broker's certificate is trusted, so
// TLS itself never comes to a login.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "Client.hpp"

inline std::shared_ptr<Amqp::Connection> LogInOverTls(std::uint16_t port, std::string_view identity = "identity",
                                                      std::string_view virtualHost = "/", int frameMax = 131072)
{
    return std::make_shared<Amqp::Connection>("127.0.0.1", port, identity, virtualHost, Amqp::Table{}, consumeWait, 0s,
                                              frameMax);
}

// What the broker sees of it.
inline LoginScript TlsLogin()
{
    LoginScript script;
    script.mechanism = "EXTERNAL";
    script.response = "identity";
    return script;
}
