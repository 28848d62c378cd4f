// Passes a delivery to its handler, and sends the handler's verdict to the broker.
#include "connection/ConnectionImpl.hpp"

#include "values/Bytes.hpp"
#include "values/PropertiesCodec.hpp"

#include <memory>
#include <utility>

namespace Amqp
{

namespace
{

// Lends the envelope that a handler sees. All deliveries use the same envelope. A step inside a step makes another
// envelope, because the outer handler still looks at the first.
class EnvelopeLoan
{
public:
    explicit EnvelopeLoan(std::unique_ptr<Envelope>& home) : place(home), lent(std::move(home))
    {
        if (!lent)
        {
            lent = std::make_unique<Envelope>();
        }
    }
    ~EnvelopeLoan() { place = std::move(lent); }
    EnvelopeLoan(const EnvelopeLoan&) = delete;
    EnvelopeLoan& operator=(const EnvelopeLoan&) = delete;

    Envelope& operator*() const { return *lent; }

private:
    std::unique_ptr<Envelope>& place;
    std::unique_ptr<Envelope> lent;
};

} // namespace

void Connection::ConnectionImpl::Dispatch(Event& delivery)
{
    Subscription* const subscription = consumers.Find(ToView(delivery.As<amqp_basic_deliver_t>().consumer_tag));
    if (subscription != nullptr)
    {
        const Subscription::Use use(*subscription); // the handler may unsubscribe itself
        Deliver(*subscription, delivery);
    }
}

void Connection::ConnectionImpl::Deliver(Subscription& subscription, Event& delivery)
{
    if (!subscription.handler && subscription.mode == Explicit)
    {
        Settle(delivery, Nack); // reject first: calling the empty handler below throws std::bad_function_call
    }

    const EnvelopeLoan loan(spareEnvelope);
    Envelope& envelope = *loan;
    MakeReceivedEnvelope(*delivery.properties, delivery.body, envelope);
    Octets whole;
    switch (subscription.parts.Take(delivery, envelope, whole))
    {
    case ReassemblyBuffer::Result::Ordinary:
    case ReassemblyBuffer::Result::Complete:
        break;
    case ReassemblyBuffer::Result::Stored:
        if (subscription.mode == Explicit)
        {
            Settle(delivery, Ack);
        }
        return;
    case ReassemblyBuffer::Result::Duplicate:
        if (subscription.mode == Explicit)
        {
            Settle(delivery, Nack);
        }
        return;
    }

    const Acknowledge verdict = subscription.handler(envelope);
    if (subscription.mode == Explicit)
    {
        Settle(delivery, verdict);
    }
}

void Connection::ConnectionImpl::Settle(const Event& delivery, Acknowledge verdict)
{
    // When a channel closes, the broker requeues its unacknowledged deliveries. If we then acknowledged one, the broker
    // would close the whole connection. So send no verdict on a closed channel.
    if (channels.IsClosed(delivery.channel))
    {
        return;
    }
    const std::uint64_t tag = delivery.As<amqp_basic_deliver_t>().delivery_tag;
    const bool more = inbound.HasMore(); // more verdicts may follow, which then share a segment
    if (verdict == Ack)
    {
        amqp_basic_ack_t ack{};
        ack.delivery_tag = tag;
        writer.Verdict(delivery.channel, AMQP_BASIC_ACK_METHOD, &ack, more);
        return;
    }
    amqp_basic_nack_t nack{};
    nack.delivery_tag = tag;
    nack.requeue = verdict != Nack;
    writer.Verdict(delivery.channel, AMQP_BASIC_NACK_METHOD, &nack, more);
}

} // namespace Amqp
