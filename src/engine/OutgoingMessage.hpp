// A message as it goes out, and what its frames add to it. Everything is borrowed.
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

/// The method of its first frame.
inline amqp_basic_publish_t PublishMethod(const OutgoingMessage& message)
{
    amqp_basic_publish_t publish{};
    publish.exchange = ToBytes(message.exchange);
    publish.routing_key = ToBytes(message.routingKey);
    publish.mandatory = message.mandatory;
    return publish;
}

/// Bodies of so many bytes and more leave in full segments anyway: gathering would only hold them up.
inline constexpr std::size_t gatheredBelow = 16384;

/// What a frame puts around its payload: type, channel, size and end octet.
inline constexpr std::size_t frameOverhead = 8;

/// What a content header has before the properties: class, weight and body size.
inline constexpr std::size_t contentHeaderFixed = 12;

} // namespace Amqp
