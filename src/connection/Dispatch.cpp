// From a delivery to its handler, and the handler's verdict back to the broker.
#include "connection/ConnectionImpl.hpp"

#include "values/Bytes.hpp"
#include "values/PropertiesCodec.hpp"

namespace Amqp
{

void Connection::ConnectionImpl::Dispatch(const ReceivedEnvelope& received)
{
    const std::string_view tag = ToView(received->consumer_tag);
    if (latestConsumer == nullptr || latestConsumer->first != tag) // mostly there is one
    {
        const auto found = subscriptions.find(tag);
        if (found == subscriptions.end())
        {
            return;
        }
        latestConsumer = &*found;
    }
    Subscription& subscription = *latestConsumer->second;
    const Subscription::Use use(subscription); // the handler may unsubscribe itself
    Deliver(subscription, received);
}

void Connection::ConnectionImpl::Deliver(Subscription& subscription, const ReceivedEnvelope& received)
{
    if (!subscription.handler && subscription.mode == Explicit)
    {
        Answer(*received, Nack); // calling the empty handler below then raises std::bad_function_call
    }

    Envelope envelope = MakeReceivedEnvelope(received->message);
    switch (subscription.parts.Take(received, envelope))
    {
    case ReassemblyBuffer::Result::Ordinary:
        break;
    case ReassemblyBuffer::Result::Complete:
        envelope = MakeReceivedEnvelope(received->message);
        break;
    case ReassemblyBuffer::Result::Stored:
        if (subscription.mode == Explicit)
        {
            Answer(*received, Ack);
        }
        return;
    case ReassemblyBuffer::Result::Duplicate:
        if (subscription.mode == Explicit)
        {
            Answer(*received, Nack);
        }
        return;
    }

    const Acknowledge verdict = subscription.handler(envelope);
    if (subscription.mode == Explicit)
    {
        Answer(*received, verdict);
    }
}

void Connection::ConnectionImpl::Answer(const amqp_envelope_t& delivery, Acknowledge verdict)
{
    // The broker takes back what a closed channel had not acknowledged, and answers an acknowledgement on such a
    // channel by closing the whole connection.
    if (IsClosed(delivery.channel) || !PeerListens())
    {
        return;
    }
    if (verdict == Ack)
    {
        amqp_basic_ack(State(), delivery.channel, delivery.delivery_tag, /*multiple*/ 0);
    }
    else
    {
        amqp_basic_nack(State(), delivery.channel, delivery.delivery_tag, /*multiple*/ 0, /*requeue*/ verdict != Nack);
    }
}

} // namespace Amqp
