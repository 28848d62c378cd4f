// The methods of consuming, of the basic class, as plain values; the defaults
// are what a side that has nothing else to say sends. No threads. Delivery tags count from 1.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Codec.hpp"

namespace Wire
{

struct BasicQos
{
    static constexpr MethodId id{60, 10};
    static constexpr std::string_view name = "basic.qos";

    std::uint32_t prefetchSize = 0;
    std::uint16_t prefetchCount = 0;
    bool global = false;

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.Long("prefetch-size", self.prefetchSize);
        visitor.Short("prefetch-count", self.prefetchCount);
        visitor.Bit("global", self.global);
    }
};

struct BasicQosOk
{
    static constexpr MethodId id{60, 11};
    static constexpr std::string_view name = "basic.qos-ok";

    template <typename Self, typename Visitor>
    static void Visit(Self&, Visitor&)
    {
    }
};

struct BasicConsume
{
    static constexpr MethodId id{60, 20};
    static constexpr std::string_view name = "basic.consume";

    std::uint16_t ticket = 0;
    std::string queue{};
    std::string consumerTag{};
    bool noLocal = false;
    bool noAck = false;
    bool exclusive = false;
    bool noWait = false;
    Fields arguments{};

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.Short("ticket", self.ticket);
        visitor.ShortString("queue", self.queue);
        visitor.ShortString("consumer-tag", self.consumerTag);
        visitor.Bit("no-local", self.noLocal);
        visitor.Bit("no-ack", self.noAck);
        visitor.Bit("exclusive", self.exclusive);
        visitor.Bit("no-wait", self.noWait);
        visitor.Table("arguments", self.arguments);
    }
};

struct BasicConsumeOk
{
    static constexpr MethodId id{60, 21};
    static constexpr std::string_view name = "basic.consume-ok";

    std::string consumerTag{};

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.ShortString("consumer-tag", self.consumerTag);
    }
};

struct BasicCancel
{
    static constexpr MethodId id{60, 30};
    static constexpr std::string_view name = "basic.cancel";

    std::string consumerTag{};
    bool noWait = false;

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.ShortString("consumer-tag", self.consumerTag);
        visitor.Bit("no-wait", self.noWait);
    }
};

struct BasicCancelOk
{
    static constexpr MethodId id{60, 31};
    static constexpr std::string_view name = "basic.cancel-ok";

    std::string consumerTag{};

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.ShortString("consumer-tag", self.consumerTag);
    }
};

struct BasicDeliver
{
    static constexpr MethodId id{60, 60};
    static constexpr std::string_view name = "basic.deliver";

    std::string consumerTag{};
    std::uint64_t deliveryTag = 1;
    bool redelivered = false;
    std::string exchange{};
    std::string routingKey{};

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.ShortString("consumer-tag", self.consumerTag);
        visitor.LongLong("delivery-tag", self.deliveryTag);
        visitor.Bit("redelivered", self.redelivered);
        visitor.ShortString("exchange", self.exchange);
        visitor.ShortString("routing-key", self.routingKey);
    }
};

struct BasicGet
{
    static constexpr MethodId id{60, 70};
    static constexpr std::string_view name = "basic.get";

    std::uint16_t ticket = 0;
    std::string queue{};
    bool noAck = false;

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.Short("ticket", self.ticket);
        visitor.ShortString("queue", self.queue);
        visitor.Bit("no-ack", self.noAck);
    }
};

struct BasicGetOk
{
    static constexpr MethodId id{60, 71};
    static constexpr std::string_view name = "basic.get-ok";

    std::uint64_t deliveryTag = 1;
    bool redelivered = false;
    std::string exchange{};
    std::string routingKey{};
    std::uint32_t messageCount = 0;

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.LongLong("delivery-tag", self.deliveryTag);
        visitor.Bit("redelivered", self.redelivered);
        visitor.ShortString("exchange", self.exchange);
        visitor.ShortString("routing-key", self.routingKey);
        visitor.Long("message-count", self.messageCount);
    }
};

struct BasicGetEmpty
{
    static constexpr MethodId id{60, 72};
    static constexpr std::string_view name = "basic.get-empty";

    std::string clusterId{};

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.ShortString("cluster-id", self.clusterId);
    }
};

struct BasicAck
{
    static constexpr MethodId id{60, 80};
    static constexpr std::string_view name = "basic.ack";

    std::uint64_t deliveryTag = 1;
    bool multiple = false;

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.LongLong("delivery-tag", self.deliveryTag);
        visitor.Bit("multiple", self.multiple);
    }
};

struct BasicReject
{
    static constexpr MethodId id{60, 90};
    static constexpr std::string_view name = "basic.reject";

    std::uint64_t deliveryTag = 1;
    bool requeue = false;

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.LongLong("delivery-tag", self.deliveryTag);
        visitor.Bit("requeue", self.requeue);
    }
};

struct BasicNack
{
    static constexpr MethodId id{60, 120};
    static constexpr std::string_view name = "basic.nack";

    std::uint64_t deliveryTag = 1;
    bool multiple = false;
    bool requeue = false;

    template <typename Self, typename Visitor>
    static void Visit(Self& self, Visitor& visitor)
    {
        visitor.LongLong("delivery-tag", self.deliveryTag);
        visitor.Bit("multiple", self.multiple);
        visitor.Bit("requeue", self.requeue);
    }
};

} // namespace Wire
