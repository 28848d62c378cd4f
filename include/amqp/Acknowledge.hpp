/// @file
/// Who acknowledges the deliveries of a subscription, and a handler's verdict on one delivery.
#pragma once

#include <amqp/Envelope.hpp>

#include <cstdint>
#include <functional>

namespace Amqp
{

/// A handler's verdict on a delivery. It has an effect only in AcknowledgeMode::Explicit.
enum Acknowledge : std::int32_t
{
    Ack = 0,    ///< Acknowledges the delivery: `basic.ack`.
    Nack = 1,   ///< Rejects it: `basic.nack` without requeue. The broker drops or, by a policy, dead-letters it.
    Requeue = 2 ///< Requeues it: `basic.nack` with requeue. Any value except 0 and 1 has this effect.
};

/// Who acknowledges the deliveries of a subscription.
enum AcknowledgeMode : std::int32_t
{
    None = 0,     ///< Nobody. The broker requeues the deliveries when the channel closes.
    Explicit = 1, ///< The library settles each delivery by the handler's verdict, after the handler has returned.
    Auto = 2      ///< The broker, when it sends them (`no_ack`). It does not redeliver what is lost on the way.
};

/// Takes each delivery of a subscription, inside Connection::Run.
///
/// The envelope's body is valid only during the call. The handler may use the connection's channels, and may
/// unsubscribe itself. If the handler throws, the exception propagates out of Connection::Run, and the delivery stays
/// unacknowledged.
using DeliveryHandler = std::function<Acknowledge(const Envelope&)>;

} // namespace Amqp
