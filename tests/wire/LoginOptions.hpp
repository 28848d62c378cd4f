// What a test can vary in a login, on the client's side, and the script of a connection that does nothing else.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "Client.hpp"

struct LoginOptions
{
    std::string user = "guest";
    std::string password = "guest";
    std::string virtualHost = "/";
    Amqp::Table properties{};
    std::chrono::seconds heartbeat{0};
    int frameMax = 131072;
};

inline std::shared_ptr<Amqp::Connection> LogIn(const ScriptedBroker& broker, const LoginOptions& options = {})
{
    return std::make_shared<Amqp::Connection>("127.0.0.1", broker.Port(), options.user, options.password,
                                              options.virtualHost, options.properties, consumeWait, options.heartbeat,
                                              options.frameMax);
}

inline ScriptedBroker::Script LoginAndClose(LoginScript script)
{
    return [script = std::move(script)](Dialogue& peer)
    {
        peer.Login(script);
        peer.CloseConnection();
    };
}
