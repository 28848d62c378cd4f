// Consumers: which tag has which handler.
#include "connection/ConnectionImpl.hpp"

#include "values/Bytes.hpp"

#include <utility>

namespace Amqp
{

void Connection::ConnectionImpl::Subscribe(Channel& channel, std::string_view consumerTag, DeliveryHandler handler,
                                           std::string_view queue, AcknowledgeMode mode, bool noLocal, bool exclusive)
{
    amqp_basic_consume(State(), channel.Token(), ToBytes(queue), ToBytes(consumerTag), noLocal,
                       /*no_ack*/ mode == Auto, exclusive, amqp_empty_table);
    if (CheckLastReply(channel))
    {
        subscriptions.try_emplace(std::string(consumerTag),
                                  std::make_shared<Subscription>(Subscription{std::move(handler), mode, {}}));
    }
}

void Connection::ConnectionImpl::Unsubscribe(Channel& channel, std::string_view consumerTag)
{
    const auto found = subscriptions.find(std::string(consumerTag));
    if (found == subscriptions.end())
    {
        return;
    }
    subscriptions.erase(found);
    amqp_basic_cancel(State(), channel.Token(), ToBytes(consumerTag));
    CheckLastReply(channel);
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
