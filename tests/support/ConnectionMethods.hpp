// The methods of the connection class as plain values; the defaults
// are what a side that has nothing else to say sends. No threads.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Codec.hpp"

namespace Wire
{

struct ConnectionStart
{
    static constexpr MethodId id{10, 10};
    static constexpr std::string_view name = "connection.start";

    std::uint8_t versionMajor = 0;
    std::uint8_t versionMinor = 9;
    Fields serverProperties{};
    std::string mechanisms = "PLAIN AMQPLAIN EXTERNAL";
    std::string locales = "en_US";

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.Octet("version-major", self.versionMajor);
        visitor.Octet("version-minor", self.versionMinor);
        visitor.Table("server-properties", self.serverProperties);
        visitor.LongString("mechanisms", self.mechanisms);
        visitor.LongString("locales", self.locales);
    }
};

struct ConnectionStartOk
{
    static constexpr MethodId id{10, 11};
    static constexpr std::string_view name = "connection.start-ok";

    Fields clientProperties{};
    std::string mechanism = "PLAIN";
    std::string response{};
    std::string locale = "en_US";

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.Table("client-properties", self.clientProperties);
        visitor.ShortString("mechanism", self.mechanism);
        visitor.LongString("response", self.response);
        visitor.ShortString("locale", self.locale);
    }
};

struct ConnectionSecure
{
    static constexpr MethodId id{10, 20};
    static constexpr std::string_view name = "connection.secure";

    std::string challenge{};

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.LongString("challenge", self.challenge);
    }
};

struct ConnectionSecureOk
{
    static constexpr MethodId id{10, 21};
    static constexpr std::string_view name = "connection.secure-ok";

    std::string response{};

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.LongString("response", self.response);
    }
};

struct ConnectionTune
{
    static constexpr MethodId id{10, 30};
    static constexpr std::string_view name = "connection.tune";

    std::uint16_t channelMax = 2047;
    std::uint32_t frameMax = 131072;
    std::uint16_t heartbeat = 0;

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.Short("channel-max", self.channelMax);
        visitor.Long("frame-max", self.frameMax);
        visitor.Short("heartbeat", self.heartbeat);
    }
};

struct ConnectionTuneOk
{
    static constexpr MethodId id{10, 31};
    static constexpr std::string_view name = "connection.tune-ok";

    std::uint16_t channelMax = 2047;
    std::uint32_t frameMax = 131072;
    std::uint16_t heartbeat = 0;

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.Short("channel-max", self.channelMax);
        visitor.Long("frame-max", self.frameMax);
        visitor.Short("heartbeat", self.heartbeat);
    }
};

struct ConnectionOpen
{
    static constexpr MethodId id{10, 40};
    static constexpr std::string_view name = "connection.open";

    std::string virtualHost = "/";
    std::string capabilities{};
    bool insist = true;

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.ShortString("virtual-host", self.virtualHost);
        visitor.ShortString("capabilities", self.capabilities);
        visitor.Bit("insist", self.insist);
    }
};

struct ConnectionOpenOk
{
    static constexpr MethodId id{10, 41};
    static constexpr std::string_view name = "connection.open-ok";

    std::string knownHosts{};

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.ShortString("known-hosts", self.knownHosts);
    }
};

struct ConnectionClose
{
    static constexpr MethodId id{10, 50};
    static constexpr std::string_view name = "connection.close";

    std::uint16_t replyCode = 200;
    std::string replyText = "200";
    std::uint16_t classId = 0;
    std::uint16_t methodId = 0;

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.Short("reply-code", self.replyCode);
        visitor.ShortString("reply-text", self.replyText);
        visitor.Short("class-id", self.classId);
        visitor.Short("method-id", self.methodId);
    }
};

struct ConnectionCloseOk
{
    static constexpr MethodId id{10, 51};
    static constexpr std::string_view name = "connection.close-ok";

    template <typename Self, typename Visitor>
    static void Visit(Self&, Visitor&)
    {
    }
};

struct ConnectionBlocked
{
    static constexpr MethodId id{10, 60};
    static constexpr std::string_view name = "connection.blocked";

    std::string reason{};

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.ShortString("reason", self.reason);
    }
};

struct ConnectionUnblocked
{
    static constexpr MethodId id{10, 61};
    static constexpr std::string_view name = "connection.unblocked";

    template <typename Self, typename Visitor>
    static void Visit(Self&, Visitor&)
    {
    }
};

} // namespace Wire
