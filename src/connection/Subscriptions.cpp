// Consumers: which tag has which handler.
#include "connection/ConnectionImpl.hpp"

#include "values/Bytes.hpp"

#include <utility>

namespace Amqp
{

void Connection::ConnectionImpl::Subscribe(Channel& channel, std::string_view consumerTag, DeliveryHandler handler,
                                           std::string_view queue, AcknowledgeMode mode, bool noLocal, bool exclusive)
{
    const auto* const consuming =
        Call(channel, {queue, consumerTag},
             [&](amqp_connection_state_t connection, std::uint16_t number)
             {
                 return amqp_basic_consume(connection, number, ToBytes(queue), ToBytes(consumerTag), noLocal,
                                           /*no_ack*/ mode == Auto, exclusive, amqp_empty_table);
             });
    if (consuming != nullptr)
    {
        Subscriptions::mapped_type subscription(new Subscription(std::move(handler), mode));
        subscriptions.try_emplace(std::string(consumerTag), std::move(subscription));
    }
}

void Connection::ConnectionImpl::Unsubscribe(Channel& channel, std::string_view consumerTag)
{
    latestConsumer = nullptr;
    // Forgotten at once, but released last: its handler may hold the channel.
    const auto forgotten = subscriptions.extract(std::string(consumerTag));
    if (forgotten.empty() || IsClosed(channel.Token()))
    {
        return; // a consumer goes with its channel
    }
    Call(channel, {consumerTag},
         [&](amqp_connection_state_t connection, std::uint16_t number)
         { return amqp_basic_cancel(connection, number, ToBytes(consumerTag)); });
}

void Connection::Subscribe(Channel& channel, std::string_view consumerTag, DeliveryHandler handler,
                           std::string_view queue, AcknowledgeMode mode, bool noLocal, bool exclusive) const
{
    impl->Subscribe(channel, consumerTag, std::move(handler), queue, mode, noLocal, exclusive);
}

void Connection::Unsubscribe(Channel& channel, std::string_view consumerTag) const
{
    impl->Unsubscribe(channel, consumerTag);
}

} // namespace Amqp
