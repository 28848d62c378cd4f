// The methods of the channel class as plain values; the defaults
// are what a side that has nothing else to say sends. No threads.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Codec.hpp"

namespace Wire
{

struct ChannelOpen
{
    static constexpr MethodId id{20, 10};
    static constexpr std::string_view name = "channel.open";

    std::string outOfBand{};

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.ShortString("out-of-band", self.outOfBand);
    }
};

struct ChannelOpenOk
{
    static constexpr MethodId id{20, 11};
    static constexpr std::string_view name = "channel.open-ok";

    std::string channelId{};

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.LongString("channel-id", self.channelId);
    }
};

struct ChannelFlow
{
    static constexpr MethodId id{20, 20};
    static constexpr std::string_view name = "channel.flow";

    bool active = false;

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.Bit("active", self.active);
    }
};

struct ChannelFlowOk
{
    static constexpr MethodId id{20, 21};
    static constexpr std::string_view name = "channel.flow-ok";

    bool active = false;

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.Bit("active", self.active);
    }
};

struct ChannelClose
{
    static constexpr MethodId id{20, 40};
    static constexpr std::string_view name = "channel.close";

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

struct ChannelCloseOk
{
    static constexpr MethodId id{20, 41};
    static constexpr std::string_view name = "channel.close-ok";

    template <typename Self, typename Visitor>
    static void Visit(Self&, Visitor&)
    {
    }
};

} // namespace Wire
