// What the examples share: a connection to the broker that the environment names (see scripts/broker), and a loop that
// drives it until something has happened.
#pragma once

#include <amqp/Connection.hpp>

#include <charconv>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>

inline std::string Setting(const char* name, const char* fallback)
{
    const char* const value = std::getenv(name);
    return value != nullptr ? value : fallback;
}

inline unsigned short Port()
{
    const std::string text = Setting("AMQP_PORT", "5672");
    const char* const end = text.data() + text.size();
    unsigned short port = 0;
    const auto [rest, error] = std::from_chars(text.data(), end, port);
    if (error != std::errc() || rest != end || port == 0)
    {
        throw std::runtime_error("AMQP_PORT is not a number from 1 to 65535: " + text);
    }
    return port;
}

// The wait of one Run is short, so that whoever loops on it notices soon when there is something else to do.
inline std::shared_ptr<Amqp::Connection> Connect(const char* program)
{
    using namespace std::chrono_literals;
    Amqp::Table properties;
    properties.Insert("connection_name", std::string_view(program));
    return std::make_shared<Amqp::Connection>(Setting("AMQP_HOST", "127.0.0.1"), Port(), Setting("AMQP_USER", "guest"),
                                              Setting("AMQP_PASSWORD", "guest"), Setting("AMQP_VHOST", "/"), properties,
                                              /*timeout*/ 200ms, /*heartbeat*/ 10s, /*frameMax*/ 131072);
}

// Runs the connection until `ready`, which must not take longer than `limit`.
template <typename Condition>
void RunUntil(const Amqp::Connection& connection, Condition ready,
              std::chrono::seconds limit = std::chrono::seconds(20))
{
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!ready())
    {
        if (!connection.Run().value_or(true) || std::chrono::steady_clock::now() > end)
        {
            throw std::runtime_error("no answer from the broker or from the other side");
        }
    }
}
