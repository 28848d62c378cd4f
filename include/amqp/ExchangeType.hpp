/// @file
/// The ways in which an exchange can route.
#pragma once

namespace Amqp
{

/// The type of an exchange. The comments say to which queues the exchange routes a message.
enum ExchangeType : int
{
    Direct = 0, ///< "direct": queues whose binding key equals the routing key.
    Fanout = 1, ///< "fanout": all bound queues.
    Topic = 2,  ///< "topic": queues whose binding key, with wildcards * and #, matches the routing key.
    Headers = 3 ///< "headers": queues whose binding matches the message's headers.
};

} // namespace Amqp
