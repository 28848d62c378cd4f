// Views of text and bytes, to and from rabbitmq-c's form. Nothing is copied: the result lives as long as what it
// was made from.
#pragma once

#include "values/RabbitMq.hpp"

#include <cstddef>
#include <string_view>

namespace Amqp
{

inline amqp_bytes_t ToBytes(std::string_view text)
{
    // rabbitmq-c only reads what it is given, but its structure has no const.
    return {text.size(), const_cast<char*>(text.data())};
}

/// Whether a text is longer than the 255 bytes that AMQP can express in a name or a property.
inline bool IsTooLong(std::string_view text)
{
    constexpr std::size_t longest = 255;
    return text.size() > longest;
}

inline std::string_view ToView(const amqp_bytes_t& bytes)
{
    return {static_cast<const char*>(bytes.bytes), bytes.len};
}

} // namespace Amqp
