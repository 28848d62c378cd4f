// The methods of publishing, of the basic and confirm classes, as plain values; the defaults
// are what a side that has nothing else to say sends. No threads.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Codec.hpp"

namespace Wire
{

struct BasicPublish
{
    static constexpr MethodId id{60, 40};
    static constexpr std::string_view name = "basic.publish";

    std::uint16_t ticket = 0;
    std::string exchange{};
    std::string routingKey{};
    bool mandatory = false;
    bool immediate = false;

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.Short("ticket", self.ticket);
        visitor.ShortString("exchange", self.exchange);
        visitor.ShortString("routing-key", self.routingKey);
        visitor.Bit("mandatory", self.mandatory);
        visitor.Bit("immediate", self.immediate);
    }
};

struct BasicReturn
{
    static constexpr MethodId id{60, 50};
    static constexpr std::string_view name = "basic.return";

    std::uint16_t replyCode = 312;
    std::string replyText = "NO_ROUTE";
    std::string exchange{};
    std::string routingKey{};

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.Short("reply-code", self.replyCode);
        visitor.ShortString("reply-text", self.replyText);
        visitor.ShortString("exchange", self.exchange);
        visitor.ShortString("routing-key", self.routingKey);
    }
};

struct ConfirmSelect
{
    static constexpr MethodId id{85, 10};
    static constexpr std::string_view name = "confirm.select";

    bool noWait = false;

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.Bit("no-wait", self.noWait);
    }
};

struct ConfirmSelectOk
{
    static constexpr MethodId id{85, 11};
    static constexpr std::string_view name = "confirm.select-ok";

    template <typename Self, typename Visitor>
    static void Visit(Self&, Visitor&)
    {
    }
};

} // namespace Wire
