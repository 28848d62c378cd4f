// Exchanges, queues and bindings: each operation is one call that awaits the broker's reply. None sends arguments.
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
    impl->Call(channel, {name},
               [&](amqp_connection_state_t state, std::uint16_t number)
               {
                   return amqp_exchange_declare(state, number, ToBytes(name), amqp_empty_bytes, /*passive*/ 1,
                                                /*durable*/ 0, /*auto_delete*/ 0, /*internal*/ 0, amqp_empty_table);
               });
}

void Connection::DeclareExchange(Channel& channel, std::string_view name, ExchangeType type, bool durable,
                                 bool internal, bool autoDelete) const
{
    const std::string_view typeText = TypeText(type);
    impl->Call(channel, {name},
               [&](amqp_connection_state_t state, std::uint16_t number)
               {
                   return amqp_exchange_declare(state, number, ToBytes(name), ToBytes(typeText), /*passive*/ 0, durable,
                                                autoDelete, internal, amqp_empty_table);
               });
}

std::string Connection::DeclareQueue(Channel& channel, bool durable, bool exclusive, bool autoDelete) const
{
    const auto* const declared =
        impl->Call(channel, {},
                   [&](amqp_connection_state_t state, std::uint16_t number)
                   {
                       return amqp_queue_declare(state, number, amqp_empty_bytes,
                                                 /*passive*/ 0, durable, exclusive, autoDelete, amqp_empty_table);
                   });
    return declared != nullptr ? std::string(ToView(declared->queue)) : std::string();
}

void Connection::DeclareQueue(Channel& channel, std::string_view name) const
{
    impl->Call(channel, {name},
               [&](amqp_connection_state_t state, std::uint16_t number)
               {
                   return amqp_queue_declare(state, number, ToBytes(name), /*passive*/ 1, /*durable*/ 0,
                                             /*exclusive*/ 0, /*auto_delete*/ 0, amqp_empty_table);
               });
}

void Connection::DeclareQueue(Channel& channel, std::string_view name, bool durable, bool exclusive,
                              bool autoDelete) const
{
    impl->Call(channel, {name},
               [&](amqp_connection_state_t state, std::uint16_t number)
               {
                   return amqp_queue_declare(state, number, ToBytes(name), /*passive*/ 0, durable, exclusive,
                                             autoDelete, amqp_empty_table);
               });
}

void Connection::BindExchange(Channel& channel, std::string_view destination, std::string_view source,
                              std::string_view routingKey) const
{
    impl->Call(channel, {destination, source, routingKey},
               [&](amqp_connection_state_t state, std::uint16_t number)
               {
                   return amqp_exchange_bind(state, number, ToBytes(destination), ToBytes(source), ToBytes(routingKey),
                                             amqp_empty_table);
               });
}

void Connection::UnbindExchange(Channel& channel, std::string_view destination, std::string_view source,
                                std::string_view routingKey) const
{
    impl->Call(channel, {destination, source, routingKey},
               [&](amqp_connection_state_t state, std::uint16_t number)
               {
                   return amqp_exchange_unbind(state, number, ToBytes(destination), ToBytes(source),
                                               ToBytes(routingKey), amqp_empty_table);
               });
}

void Connection::BindQueue(Channel& channel, std::string_view queue, std::string_view exchange,
                           std::string_view routingKey) const
{
    impl->Call(channel, {queue, exchange, routingKey},
               [&](amqp_connection_state_t state, std::uint16_t number) {
                   return amqp_queue_bind(state, number, ToBytes(queue), ToBytes(exchange), ToBytes(routingKey),
                                          amqp_empty_table);
               });
}

void Connection::UnbindQueue(Channel& channel, std::string_view queue, std::string_view exchange,
                             std::string_view routingKey) const
{
    impl->Call(channel, {queue, exchange, routingKey},
               [&](amqp_connection_state_t state, std::uint16_t number) {
                   return amqp_queue_unbind(state, number, ToBytes(queue), ToBytes(exchange), ToBytes(routingKey),
                                            amqp_empty_table);
               });
}

void Connection::DestroyExchange(Channel& channel, std::string_view name, bool ifUnused) const
{
    impl->Call(channel, {name},
               [&](amqp_connection_state_t state, std::uint16_t number)
               { return amqp_exchange_delete(state, number, ToBytes(name), ifUnused); });
}

void Connection::DestroyQueue(Channel& channel, std::string_view name, bool ifEmpty, bool ifUnused) const
{
    // rabbitmq-c has the two conditions the other way round.
    impl->Call(channel, {name},
               [&](amqp_connection_state_t state, std::uint16_t number) {
                   return amqp_queue_delete(state, number, ToBytes(name), /*if_unused*/ ifUnused, /*if_empty*/ ifEmpty);
               });
}

void Connection::PurgeQueue(Channel& channel, std::string_view name) const
{
    impl->Call(channel, {name},
               [&](amqp_connection_state_t state, std::uint16_t number)
               { return amqp_queue_purge(state, number, ToBytes(name)); });
}

} // namespace Amqp
