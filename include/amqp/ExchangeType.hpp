/// @file
/// How an exchange routes.
#pragma once

namespace Amqp
{

/// The type of an exchange, as it is declared.
enum ExchangeType : int
{
    Direct = 0, ///< "direct": to the queues bound with exactly the routing key.
    Fanout = 1, ///< "fanout": to every queue bound.
    Topic = 2,  ///< "topic": to the queues whose binding key, with its wildcards * and #, matches the routing key.
    Headers = 3 ///< "headers": by the message's headers.
};

} // namespace Amqp
