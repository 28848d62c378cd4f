// Converts views of strings and bytes to rabbitmq-c's form and back. Copies and owns nothing: the result is valid as
// long as its source. The functions have no state: any thread may call them.
#pragma once

#include "values/RabbitMq.hpp"

#include <cstddef>
#include <string_view>

namespace Amqp
{

inline amqp_bytes_t ToBytes(std::string_view text)
{
    // rabbitmq-c only reads these bytes, but its structure has no const.
    return {text.size(), const_cast<char*>(text.data())};
}

/// Returns whether a string exceeds the 255 bytes that AMQP allows in a name or a property.
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
