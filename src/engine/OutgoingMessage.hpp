// A message to be sent, and the sizes of what its frames add. The message borrows everything from the caller, and
// serves one call. Belongs to the connection's thread.
#pragma once

#include "values/Bytes.hpp"
#include "values/RabbitMq.hpp"

#include <cstddef>
#include <string_view>

namespace Amqp
{

struct OutgoingMessage
{
    std::string_view exchange;
    std::string_view routingKey;
    amqp_boolean_t mandatory;
    const amqp_basic_properties_t& properties;
    std::string_view body;
};

/// Returns the fields of the `basic.publish` in the message's first frame.
inline amqp_basic_publish_t PublishMethod(const OutgoingMessage& message)
{
    amqp_basic_publish_t publish{};
    publish.exchange = ToBytes(message.exchange);
    publish.routing_key = ToBytes(message.routingKey);
    publish.mandatory = message.mandatory;
    return publish;
}

/// The size of the smallest body that is not gathered. Such a body fills its segments anyway, so gathering would only
/// delay it.
inline constexpr std::size_t gatheredBelow = 16384;

/// The bytes of a frame around its payload: type, channel, size and end.
inline constexpr std::size_t frameOverhead = 8;

/// The bytes of a content header before the properties: class, weight and body size.
inline constexpr std::size_t contentHeaderFixed = 12;

} // namespace Amqp
