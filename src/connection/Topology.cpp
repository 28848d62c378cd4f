// Exchanges, queues and bindings: each operation is one call that awaits the broker's reply. None sends arguments.
#include "connection/ConnectionImpl.hpp"

#include "values/Bytes.hpp"

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
    throw std::runtime_error("Invalid exchange type");
}

} // namespace

void Connection::DeclareExchange(Channel& channel, std::string_view name) const
{
    amqp_exchange_declare(impl->State(), channel.Token(), ToBytes(name), amqp_empty_bytes, /*passive*/ 1,
                          /*durable*/ 0, /*auto_delete*/ 0, /*internal*/ 0, amqp_empty_table);
    impl->CheckLastReply(channel);
}

void Connection::DeclareExchange(Channel& channel, std::string_view name, ExchangeType type, bool durable,
                                 bool internal, bool autoDelete) const
{
    const std::string_view typeText = TypeText(type);
    amqp_exchange_declare(impl->State(), channel.Token(), ToBytes(name), ToBytes(typeText), /*passive*/ 0, durable,
                          autoDelete, internal, amqp_empty_table);
    impl->CheckLastReply(channel);
}

std::string Connection::DeclareQueue(Channel& channel, bool durable, bool exclusive, bool autoDelete) const
{
    const amqp_queue_declare_ok_t* const declared =
        amqp_queue_declare(impl->State(), channel.Token(), amqp_empty_bytes, /*passive*/ 0, durable, exclusive,
                           autoDelete, amqp_empty_table);
    return impl->CheckLastReply(channel) ? std::string(ToView(declared->queue)) : std::string();
}

void Connection::DeclareQueue(Channel& channel, std::string_view name) const
{
    amqp_queue_declare(impl->State(), channel.Token(), ToBytes(name), /*passive*/ 1, /*durable*/ 0, /*exclusive*/ 0,
                       /*auto_delete*/ 0, amqp_empty_table);
    impl->CheckLastReply(channel);
}

void Connection::DeclareQueue(Channel& channel, std::string_view name, bool durable, bool exclusive,
                              bool autoDelete) const
{
    amqp_queue_declare(impl->State(), channel.Token(), ToBytes(name), /*passive*/ 0, durable, exclusive, autoDelete,
                       amqp_empty_table);
    impl->CheckLastReply(channel);
}

void Connection::BindExchange(Channel& channel, std::string_view destination, std::string_view source,
                              std::string_view routingKey) const
{
    amqp_exchange_bind(impl->State(), channel.Token(), ToBytes(destination), ToBytes(source), ToBytes(routingKey),
                       amqp_empty_table);
    impl->CheckLastReply(channel);
}

void Connection::UnbindExchange(Channel& channel, std::string_view destination, std::string_view source,
                                std::string_view routingKey) const
{
    amqp_exchange_unbind(impl->State(), channel.Token(), ToBytes(destination), ToBytes(source), ToBytes(routingKey),
                         amqp_empty_table);
    impl->CheckLastReply(channel);
}

void Connection::BindQueue(Channel& channel, std::string_view queue, std::string_view exchange,
                           std::string_view routingKey) const
{
    amqp_queue_bind(impl->State(), channel.Token(), ToBytes(queue), ToBytes(exchange), ToBytes(routingKey),
                    amqp_empty_table);
    impl->CheckLastReply(channel);
}

void Connection::UnbindQueue(Channel& channel, std::string_view queue, std::string_view exchange,
                             std::string_view routingKey) const
{
    amqp_queue_unbind(impl->State(), channel.Token(), ToBytes(queue), ToBytes(exchange), ToBytes(routingKey),
                      amqp_empty_table);
    impl->CheckLastReply(channel);
}

void Connection::DestroyExchange(Channel& channel, std::string_view name, bool ifUnused) const
{
    amqp_exchange_delete(impl->State(), channel.Token(), ToBytes(name), ifUnused);
    impl->CheckLastReply(channel);
}

void Connection::DestroyQueue(Channel& channel, std::string_view name, bool ifEmpty, bool ifUnused) const
{
    // rabbitmq-c has the two conditions the other way round.
    amqp_queue_delete(impl->State(), channel.Token(), ToBytes(name), /*if_unused*/ ifUnused, /*if_empty*/ ifEmpty);
    impl->CheckLastReply(channel);
}

void Connection::PurgeQueue(Channel& channel, std::string_view name) const
{
    amqp_queue_purge(impl->State(), channel.Token(), ToBytes(name));
    impl->CheckLastReply(channel);
}

} // namespace Amqp
