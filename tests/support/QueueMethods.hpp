// The methods of the queue class as plain values; the defaults
// are what a side that has nothing else to say sends. No threads.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Codec.hpp"

namespace Wire
{

struct QueueDeclare
{
    static constexpr MethodId id{50, 10};
    static constexpr std::string_view name = "queue.declare";

    std::uint16_t ticket = 0;
    std::string queue{};
    bool passive = false;
    bool durable = false;
    bool exclusive = false;
    bool autoDelete = false;
    bool noWait = false;
    Fields arguments{};

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.Short("ticket", self.ticket);
        visitor.ShortString("queue", self.queue);
        visitor.Bit("passive", self.passive);
        visitor.Bit("durable", self.durable);
        visitor.Bit("exclusive", self.exclusive);
        visitor.Bit("auto-delete", self.autoDelete);
        visitor.Bit("no-wait", self.noWait);
        visitor.Table("arguments", self.arguments);
    }
};

struct QueueDeclareOk
{
    static constexpr MethodId id{50, 11};
    static constexpr std::string_view name = "queue.declare-ok";

    std::string queue{};
    std::uint32_t messageCount = 0;
    std::uint32_t consumerCount = 0;

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.ShortString("queue", self.queue);
        visitor.Long("message-count", self.messageCount);
        visitor.Long("consumer-count", self.consumerCount);
    }
};

struct QueueBind
{
    static constexpr MethodId id{50, 20};
    static constexpr std::string_view name = "queue.bind";

    std::uint16_t ticket = 0;
    std::string queue{};
    std::string exchange{};
    std::string routingKey{};
    bool noWait = false;
    Fields arguments{};

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.Short("ticket", self.ticket);
        visitor.ShortString("queue", self.queue);
        visitor.ShortString("exchange", self.exchange);
        visitor.ShortString("routing-key", self.routingKey);
        visitor.Bit("no-wait", self.noWait);
        visitor.Table("arguments", self.arguments);
    }
};

struct QueueBindOk
{
    static constexpr MethodId id{50, 21};
    static constexpr std::string_view name = "queue.bind-ok";

    template <typename Self, typename Visitor>
    static void Visit(Self&, Visitor&)
    {
    }
};

struct QueuePurge
{
    static constexpr MethodId id{50, 30};
    static constexpr std::string_view name = "queue.purge";

    std::uint16_t ticket = 0;
    std::string queue{};
    bool noWait = false;

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.Short("ticket", self.ticket);
        visitor.ShortString("queue", self.queue);
        visitor.Bit("no-wait", self.noWait);
    }
};

struct QueuePurgeOk
{
    static constexpr MethodId id{50, 31};
    static constexpr std::string_view name = "queue.purge-ok";

    std::uint32_t messageCount = 0;

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.Long("message-count", self.messageCount);
    }
};

struct QueueDelete
{
    static constexpr MethodId id{50, 40};
    static constexpr std::string_view name = "queue.delete";

    std::uint16_t ticket = 0;
    std::string queue{};
    bool ifUnused = false;
    bool ifEmpty = false;
    bool noWait = false;

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.Short("ticket", self.ticket);
        visitor.ShortString("queue", self.queue);
        visitor.Bit("if-unused", self.ifUnused);
        visitor.Bit("if-empty", self.ifEmpty);
        visitor.Bit("no-wait", self.noWait);
    }
};

struct QueueDeleteOk
{
    static constexpr MethodId id{50, 41};
    static constexpr std::string_view name = "queue.delete-ok";

    std::uint32_t messageCount = 0;

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.Long("message-count", self.messageCount);
    }
};

struct QueueUnbind
{
    static constexpr MethodId id{50, 50};
    static constexpr std::string_view name = "queue.unbind";

    std::uint16_t ticket = 0;
    std::string queue{};
    std::string exchange{};
    std::string routingKey{};
    Fields arguments{};

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.Short("ticket", self.ticket);
        visitor.ShortString("queue", self.queue);
        visitor.ShortString("exchange", self.exchange);
        visitor.ShortString("routing-key", self.routingKey);
        visitor.Table("arguments", self.arguments);
    }
};

struct QueueUnbindOk
{
    static constexpr MethodId id{50, 51};
    static constexpr std::string_view name = "queue.unbind-ok";

    template <typename Self, typename Visitor>
    static void Visit(Self&, Visitor&)
    {
    }
};

} // namespace Wire
