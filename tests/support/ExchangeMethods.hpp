// The methods of the exchange class as plain values; the defaults
// are what a side that has nothing else to say sends. No threads.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Codec.hpp"

namespace Wire
{

struct ExchangeDeclare
{
    static constexpr MethodId id{40, 10};
    static constexpr std::string_view name = "exchange.declare";

    std::uint16_t ticket = 0;
    std::string exchange{};
    std::string type = "direct";
    bool passive = false;
    bool durable = false;
    bool autoDelete = false;
    bool internal = false;
    bool noWait = false;
    Fields arguments{};

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.Short("ticket", self.ticket);
        visitor.ShortString("exchange", self.exchange);
        visitor.ShortString("type", self.type);
        visitor.Bit("passive", self.passive);
        visitor.Bit("durable", self.durable);
        visitor.Bit("auto-delete", self.autoDelete);
        visitor.Bit("internal", self.internal);
        visitor.Bit("no-wait", self.noWait);
        visitor.Table("arguments", self.arguments);
    }
};

struct ExchangeDeclareOk
{
    static constexpr MethodId id{40, 11};
    static constexpr std::string_view name = "exchange.declare-ok";

    template <typename Self, typename Visitor>
    static void Visit(Self&, Visitor&)
    {
    }
};

struct ExchangeDelete
{
    static constexpr MethodId id{40, 20};
    static constexpr std::string_view name = "exchange.delete";

    std::uint16_t ticket = 0;
    std::string exchange{};
    bool ifUnused = false;
    bool noWait = false;

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.Short("ticket", self.ticket);
        visitor.ShortString("exchange", self.exchange);
        visitor.Bit("if-unused", self.ifUnused);
        visitor.Bit("no-wait", self.noWait);
    }
};

struct ExchangeDeleteOk
{
    static constexpr MethodId id{40, 21};
    static constexpr std::string_view name = "exchange.delete-ok";

    template <typename Self, typename Visitor>
    static void Visit(Self&, Visitor&)
    {
    }
};

struct ExchangeBind
{
    static constexpr MethodId id{40, 30};
    static constexpr std::string_view name = "exchange.bind";

    std::uint16_t ticket = 0;
    std::string destination{};
    std::string source{};
    std::string routingKey{};
    bool noWait = false;
    Fields arguments{};

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.Short("ticket", self.ticket);
        visitor.ShortString("destination", self.destination);
        visitor.ShortString("source", self.source);
        visitor.ShortString("routing-key", self.routingKey);
        visitor.Bit("no-wait", self.noWait);
        visitor.Table("arguments", self.arguments);
    }
};

struct ExchangeBindOk
{
    static constexpr MethodId id{40, 31};
    static constexpr std::string_view name = "exchange.bind-ok";

    template <typename Self, typename Visitor>
    static void Visit(Self&, Visitor&)
    {
    }
};

struct ExchangeUnbind
{
    static constexpr MethodId id{40, 40};
    static constexpr std::string_view name = "exchange.unbind";

    std::uint16_t ticket = 0;
    std::string destination{};
    std::string source{};
    std::string routingKey{};
    bool noWait = false;
    Fields arguments{};

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.Short("ticket", self.ticket);
        visitor.ShortString("destination", self.destination);
        visitor.ShortString("source", self.source);
        visitor.ShortString("routing-key", self.routingKey);
        visitor.Bit("no-wait", self.noWait);
        visitor.Table("arguments", self.arguments);
    }
};

struct ExchangeUnbindOk
{
    static constexpr MethodId id{40, 51};
    static constexpr std::string_view name = "exchange.unbind-ok";

    template <typename Self, typename Visitor>
    static void Visit(Self&, Visitor&)
    {
    }
};

} // namespace Wire
