#include "engine/FrameEncoder.hpp"

namespace Amqp
{

// Writes the highest byte first. A write through a char pointer may change any object, for all that the compiler knows.
// So a local copy of `next` is faster: the compiler need not read the copy again after each byte.
template <typename Integer>
void FrameEncoder::Number(Integer value)
{
    char* at = next;
    for (std::size_t octet = sizeof value; octet-- > 0;)
    {
        *at++ = static_cast<char>(value >> (8 * octet));
    }
    next = at;
}

void FrameEncoder::Begin(std::uint8_t type, std::uint16_t channel, std::size_t payload)
{
    Number(type);
    Number(channel);
    Number(static_cast<std::uint32_t>(payload));
}

// Writes the payload's size into the frame's head, where Begin left a 0, and ends the frame.
int FrameEncoder::Finish(char* payload, int encoded)
{
    if (encoded < 0)
    {
        return encoded;
    }
    char* const after = next + encoded;
    next = payload - sizeof(std::uint32_t);
    Number(static_cast<std::uint32_t>(after - payload));
    next = after;
    End();
    return AMQP_STATUS_OK;
}

int FrameEncoder::Method(std::uint16_t channel, amqp_method_number_t id, void* fields)
{
    Begin(AMQP_FRAME_METHOD, channel, 0);
    char* const payload = next;
    Number(amqp_method_number_t{id});
    return Finish(payload, amqp_encode_method(id, fields, Rest()));
}

int FrameEncoder::Header(std::uint16_t channel, const amqp_basic_properties_t& properties, std::uint64_t bodySize)
{
    Begin(AMQP_FRAME_HEADER, channel, 0);
    char* const payload = next;
    Number(std::uint16_t{AMQP_BASIC_CLASS});
    Number(std::uint16_t{0}); // the weight, which is always 0
    Number(bodySize);
    amqp_basic_properties_t copy = properties; // rabbitmq-c only reads the properties, but takes no const
    return Finish(payload, amqp_encode_properties(AMQP_BASIC_CLASS, &copy, Rest()));
}

} // namespace Amqp
