// The handshake, as a RabbitMQ leads it.
#include "Login.hpp"

#include "Dialogue.hpp"

namespace Wire
{

Fields DefaultServerProperties()
{
    return {{"capabilities", Nested({{"publisher_confirms", Bool(true)},
                                     {"exchange_exchange_bindings", Bool(true)},
                                     {"basic.nack", Bool(true)},
                                     {"consumer_cancel_notify", Bool(true)},
                                     {"connection.blocked", Bool(true)},
                                     {"authentication_failure_close", Bool(true)}})},
            {"product", Text("RabbitMQ")},
            {"version", Text("3.10.8")}};
}

std::string PlainResponse(const std::string& user, const std::string& password)
{
    return '\0' + user + '\0' + password;
}

LoginSeen Dialogue::Login(const LoginScript& script)
{
    const Step step(*this, "login");
    ExpectProtocolHeader();
    Send(0, ConnectionStart{.versionMajor = script.versionMajor,
                            .versionMinor = script.versionMinor,
                            .serverProperties = script.serverProperties,
                            .mechanisms = script.mechanisms,
                            .locales = script.locales});

    const auto startOk = Receive<ConnectionStartOk>(0);
    const ConnectionStartOk wanted{.clientProperties = script.clientProperties.value_or(startOk.clientProperties),
                                   .mechanism = script.mechanism,
                                   .response = script.response,
                                   .locale = script.locale};
    RequireSame({methodFrame, 0, Encode(wanted)}, {methodFrame, 0, Encode(startOk)});

    Send(0,
         ConnectionTune{.channelMax = script.channelMax, .frameMax = script.frameMax, .heartbeat = script.heartbeat});
    const auto tuneOk = Receive<ConnectionTuneOk>(0);
    RequireSame({methodFrame, 0, Encode(script.tuneOk.value_or(tuneOk))}, {methodFrame, 0, Encode(tuneOk)});
    FrameMax(tuneOk.frameMax);

    const ConnectionOpen open{
        .virtualHost = script.virtualHost, .capabilities = script.capabilities, .insist = script.insist};
    Expect(0, open);
    Send(0, ConnectionOpenOk{.knownHosts = script.knownHosts});

    return {.clientProperties = startOk.clientProperties,
            .mechanism = startOk.mechanism,
            .response = startOk.response,
            .locale = startOk.locale,
            .channelMax = tuneOk.channelMax,
            .frameMax = tuneOk.frameMax,
            .heartbeat = tuneOk.heartbeat,
            .virtualHost = open.virtualHost,
            .insist = open.insist};
}

} // namespace Wire
