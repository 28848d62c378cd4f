// Starts and cancels consumers.
#include "connection/ConnectionImpl.hpp"

#include "values/Bytes.hpp"

#include <string>
#include <utility>

namespace Amqp
{

void Connection::ConnectionImpl::Subscribe(Channel& channel, std::string_view consumerTag, DeliveryHandler handler,
                                           std::string_view queue, AcknowledgeMode mode, bool noLocal, bool exclusive)
{
    amqp_basic_consume_t consume{};
    consume.queue = ToBytes(queue);
    consume.consumer_tag = ToBytes(consumerTag);
    consume.no_local = noLocal;
    consume.no_ack = mode == Auto;
    consume.exclusive = exclusive;
    Consumers::Owned subscription(new Subscription(consumerTag, std::move(handler), mode));
    if (Call(channel, {queue, consumerTag}, {AMQP_BASIC_CONSUME_METHOD, &consume, AMQP_BASIC_CONSUME_OK_METHOD}))
    {
        consumers.Add(std::move(subscription));
    }
}

void Connection::ConnectionImpl::Unsubscribe(Channel& channel, std::string_view consumerTag)
{
    // The handler is destroyed before basic.cancel is sent. Its destructor may destroy the string that `consumerTag`
    // views, or the channel. So copy the tag, keep a channel that is held by std::shared_ptr, and watch any other.
    const std::string tag(consumerTag);
    const std::uint16_t number = channel.Token();
    const auto kept = channel.weak_from_this().lock();
    const std::weak_ptr<void> watch = channel.Watch();
    Consumers::Owned forgotten = consumers.Take(tag);
    if (!forgotten)
    {
        return;
    }
    forgotten.reset();
    if (!watch.expired())
    {
        FindParkedClose(number);
    }
    if (watch.expired() || channels.IsClosed(number))
    {
        return; // the broker has ended the consumer together with its channel
    }
    amqp_basic_cancel_t cancel{};
    cancel.consumer_tag = ToBytes(tag);
    Call(channel, {tag}, {AMQP_BASIC_CANCEL_METHOD, &cancel, AMQP_BASIC_CANCEL_OK_METHOD});
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
