/// @file
/// How deliveries are acknowledged: the modes of a subscription, and a handler's verdict on one delivery.
#pragma once

#include <amqp/Envelope.hpp>

#include <cstdint>
#include <functional>

namespace Amqp
{

/// A handler's verdict on a delivery. It takes effect only in AcknowledgeMode::Explicit.
enum Acknowledge : std::int32_t
{
    Ack = 0,    ///< Done with it: `basic.ack`.
    Nack = 1,   ///< Not wanted: `basic.nack` without requeue. The broker drops it, or dead-letters it by a policy.
    Requeue = 2 ///< Not now: `basic.nack` with requeue. Any value but 0 and 1 acts the same.
};

/// Who acknowledges the deliveries of a subscription.
enum AcknowledgeMode : std::int32_t
{
    None = 0,     ///< Nobody: deliveries stay unacknowledged, and come back when the channel closes.
    Explicit = 1, ///< The library, after each call of the handler, by its verdict.
    Auto = 2      ///< The broker, as it sends them (`no_ack`): a delivery that is lost on its way is gone.
};

/// Called with each delivery of a subscription, on the thread that runs the connection.
///
/// The envelope's body is valid only during the call. The handler may use the connection's channels, and may
/// unsubscribe itself. What it throws leaves Connection::Run, and the delivery stays unacknowledged.
using DeliveryHandler = std::function<Acknowledge(const Envelope&)>;

} // namespace Amqp
