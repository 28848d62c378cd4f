// What a test can vary in the handshake of a connection and what it can look at afterwards. Plain values, no threads.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Methods.hpp"

namespace Wire
{

// Product, version and the capabilities that a RabbitMQ announces.
Fields DefaultServerProperties();

// The response of the PLAIN mechanism.
std::string PlainResponse(const std::string& user, const std::string& password);

struct LoginScript
{
    std::uint8_t versionMajor = 0;
    std::uint8_t versionMinor = 9;
    Fields serverProperties = DefaultServerProperties();
    std::string mechanisms = "PLAIN AMQPLAIN EXTERNAL";
    std::string locales = "en_US";

    std::string mechanism = "PLAIN"; // what the client has to answer
    std::string response = PlainResponse("guest", "guest");
    std::string locale = "en_US";
    std::optional<Fields> clientProperties{}; // compared only when given

    std::uint16_t channelMax = 2047; // what the broker proposes
    std::uint32_t frameMax = 131072;
    std::uint16_t heartbeat = 0;
    std::optional<ConnectionTuneOk> tuneOk{}; // compared only when given

    std::string virtualHost = "/"; // what the client has to ask for
    std::string capabilities{};
    bool insist = true;
    std::string knownHosts{};
};

struct LoginSeen
{
    Fields clientProperties{};
    std::string mechanism{};
    std::string response{};
    std::string locale{};
    std::uint16_t channelMax = 0; // the three as the client settled them in tune-ok
    std::uint32_t frameMax = 0;
    std::uint16_t heartbeat = 0;
    std::string virtualHost{};
    bool insist = false;
};

} // namespace Wire
