// Declares, binds and deletes exchanges and queues. Each operation is one call, which awaits the broker's reply. No
// operation sends arguments.
#include "connection/ConnectionImpl.hpp"

#include "values/Bytes.hpp"
#include "values/Texts.hpp"

#include <stdexcept>

namespace Amqp
{

namespace
{

std::string_view TypeText(ExchangeType type)
{
    switch (type)
    {
    case Direct:
        return "direct";
    case Fanout:
        return "fanout";
    case Topic:
        return "topic";
    case Headers:
        return "headers";
    }
    throw std::runtime_error(ownTexts.invalidExchangeType);
}

} // namespace

void Connection::DeclareExchange(Channel& channel, std::string_view name) const
{
    amqp_exchange_declare_t declare{};
    declare.exchange = ToBytes(name);
    declare.passive = 1;
    impl->Call(channel, {name}, {AMQP_EXCHANGE_DECLARE_METHOD, &declare, AMQP_EXCHANGE_DECLARE_OK_METHOD});
}

void Connection::DeclareExchange(Channel& channel, std::string_view name, ExchangeType type, bool durable,
                                 bool internal, bool autoDelete) const
{
    amqp_exchange_declare_t declare{};
    declare.exchange = ToBytes(name);
    declare.type = ToBytes(TypeText(type));
    declare.durable = durable;
    declare.auto_delete = autoDelete;
    declare.internal = internal;
    impl->Call(channel, {name}, {AMQP_EXCHANGE_DECLARE_METHOD, &declare, AMQP_EXCHANGE_DECLARE_OK_METHOD});
}

std::string Connection::DeclareQueue(Channel& channel, bool durable, bool exclusive, bool autoDelete) const
{
    amqp_queue_declare_t declare{};
    declare.durable = durable;
    declare.exclusive = exclusive;
    declare.auto_delete = autoDelete;
    const auto reply = impl->Call(channel, {}, {AMQP_QUEUE_DECLARE_METHOD, &declare, AMQP_QUEUE_DECLARE_OK_METHOD});
    return reply ? std::string(ToView(reply->As<amqp_queue_declare_ok_t>().queue)) : std::string();
}

void Connection::DeclareQueue(Channel& channel, std::string_view name) const
{
    amqp_queue_declare_t declare{};
    declare.queue = ToBytes(name);
    declare.passive = 1;
    impl->Call(channel, {name}, {AMQP_QUEUE_DECLARE_METHOD, &declare, AMQP_QUEUE_DECLARE_OK_METHOD});
}

void Connection::DeclareQueue(Channel& channel, std::string_view name, bool durable, bool exclusive,
                              bool autoDelete) const
{
    amqp_queue_declare_t declare{};
    declare.queue = ToBytes(name);
    declare.durable = durable;
    declare.exclusive = exclusive;
    declare.auto_delete = autoDelete;
    impl->Call(channel, {name}, {AMQP_QUEUE_DECLARE_METHOD, &declare, AMQP_QUEUE_DECLARE_OK_METHOD});
}

void Connection::BindExchange(Channel& channel, std::string_view destination, std::string_view source,
                              std::string_view routingKey) const
{
    amqp_exchange_bind_t bind{};
    bind.destination = ToBytes(destination);
    bind.source = ToBytes(source);
    bind.routing_key = ToBytes(routingKey);
    impl->Call(channel, {destination, source, routingKey},
               {AMQP_EXCHANGE_BIND_METHOD, &bind, AMQP_EXCHANGE_BIND_OK_METHOD});
}

void Connection::UnbindExchange(Channel& channel, std::string_view destination, std::string_view source,
                                std::string_view routingKey) const
{
    amqp_exchange_unbind_t unbind{};
    unbind.destination = ToBytes(destination);
    unbind.source = ToBytes(source);
    unbind.routing_key = ToBytes(routingKey);
    impl->Call(channel, {destination, source, routingKey},
               {AMQP_EXCHANGE_UNBIND_METHOD, &unbind, AMQP_EXCHANGE_UNBIND_OK_METHOD});
}

void Connection::BindQueue(Channel& channel, std::string_view queue, std::string_view exchange,
                           std::string_view routingKey) const
{
    amqp_queue_bind_t bind{};
    bind.queue = ToBytes(queue);
    bind.exchange = ToBytes(exchange);
    bind.routing_key = ToBytes(routingKey);
    impl->Call(channel, {queue, exchange, routingKey}, {AMQP_QUEUE_BIND_METHOD, &bind, AMQP_QUEUE_BIND_OK_METHOD});
}

void Connection::UnbindQueue(Channel& channel, std::string_view queue, std::string_view exchange,
                             std::string_view routingKey) const
{
    amqp_queue_unbind_t unbind{};
    unbind.queue = ToBytes(queue);
    unbind.exchange = ToBytes(exchange);
    unbind.routing_key = ToBytes(routingKey);
    impl->Call(channel, {queue, exchange, routingKey},
               {AMQP_QUEUE_UNBIND_METHOD, &unbind, AMQP_QUEUE_UNBIND_OK_METHOD});
}

void Connection::DestroyExchange(Channel& channel, std::string_view name, bool ifUnused) const
{
    amqp_exchange_delete_t destroy{};
    destroy.exchange = ToBytes(name);
    destroy.if_unused = ifUnused;
    impl->Call(channel, {name}, {AMQP_EXCHANGE_DELETE_METHOD, &destroy, AMQP_EXCHANGE_DELETE_OK_METHOD});
}

void Connection::DestroyQueue(Channel& channel, std::string_view name, bool ifEmpty, bool ifUnused) const
{
    amqp_queue_delete_t destroy{};
    destroy.queue = ToBytes(name);
    destroy.if_empty = ifEmpty;
    destroy.if_unused = ifUnused;
    impl->Call(channel, {name}, {AMQP_QUEUE_DELETE_METHOD, &destroy, AMQP_QUEUE_DELETE_OK_METHOD});
}

void Connection::PurgeQueue(Channel& channel, std::string_view name) const
{
    amqp_queue_purge_t purge{};
    purge.queue = ToBytes(name);
    impl->Call(channel, {name}, {AMQP_QUEUE_PURGE_METHOD, &purge, AMQP_QUEUE_PURGE_OK_METHOD});
}

} // namespace Amqp
