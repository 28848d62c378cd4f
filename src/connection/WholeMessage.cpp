#include "connection/WholeMessage.hpp"

#include <algorithm>

namespace Amqp
{

// The highest octet first. The position is kept aside: writing characters through it might change it, for all that the
// compiler knows.
template <typename Integer>
void WholeMessage::Number(Integer value)
{
    char* at = next;
    for (std::size_t octet = sizeof value; octet-- > 0;)
    {
        *at++ = static_cast<char>(value >> (8 * octet));
    }
    next = at;
}

std::optional<std::string_view> WholeMessage::Encode(std::uint16_t channel, const OutgoingMessage& message)
{
    amqp_basic_publish_t publish = PublishMethod(message);
    char* payload = BeginFrame(AMQP_FRAME_METHOD, channel);
    Number(amqp_method_number_t{AMQP_BASIC_PUBLISH_METHOD});
    if (!Advance(amqp_encode_method(AMQP_BASIC_PUBLISH_METHOD, &publish, Rest())))
    {
        return {};
    }
    EndFrame(payload);

    amqp_basic_properties_t properties = message.properties;
    payload = BeginFrame(AMQP_FRAME_HEADER, channel);
    Number(std::uint16_t{AMQP_BASIC_CLASS});
    Number(std::uint16_t{0}); // the weight, which is always so
    Number(std::uint64_t{message.body.size()});
    if (!Advance(amqp_encode_properties(AMQP_BASIC_CLASS, &properties, Rest())))
    {
        return {};
    }
    EndFrame(payload);

    if (!message.body.empty())
    {
        if (message.body.size() + frameOverhead > Rest().len)
        {
            return {};
        }
        payload = BeginFrame(AMQP_FRAME_BODY, channel);
        next = std::copy(message.body.begin(), message.body.end(), next);
        EndFrame(payload);
    }
    return std::string_view(octets.data(), static_cast<std::size_t>(next - octets.data()));
}

char* WholeMessage::BeginFrame(std::uint8_t type, std::uint16_t channel)
{
    Number(type);
    Number(channel);
    Number(std::uint32_t{0}); // the size, which EndFrame knows
    return next;
}

void WholeMessage::EndFrame(char* payload)
{
    char* const end = next;
    next = payload - sizeof(std::uint32_t);
    Number(static_cast<std::uint32_t>(end - payload));
    next = end;
    Number(std::uint8_t{AMQP_FRAME_END});
}

amqp_bytes_t WholeMessage::Rest()
{
    const auto used = static_cast<std::size_t>(next - octets.data());
    return {used < most ? most - used : 0, next};
}

bool WholeMessage::Advance(int encoded)
{
    next += std::max(encoded, 0);
    return encoded >= 0;
}

} // namespace Amqp
