#include "connection/MessageFrames.hpp"

#include <algorithm>

namespace Amqp
{

namespace
{

constexpr char frameEnd = static_cast<char>(AMQP_FRAME_END);

} // namespace

// The highest octet first. The position is kept aside: writing characters through it might change it, for all that the
// compiler knows.
template <typename Integer>
void MessageFrames::Number(Integer value)
{
    char* at = next;
    for (std::size_t octet = sizeof value; octet-- > 0;)
    {
        *at++ = static_cast<char>(value >> (8 * octet));
    }
    next = at;
}

bool MessageFrames::EncodeHead()
{
    amqp_basic_publish_t publish = PublishMethod(message);
    char* payload = BeginFrame(AMQP_FRAME_METHOD);
    Number(amqp_method_number_t{AMQP_BASIC_PUBLISH_METHOD});
    if (!Advance(amqp_encode_method(AMQP_BASIC_PUBLISH_METHOD, &publish, Rest())))
    {
        return false;
    }
    EndFrame(payload);

    amqp_basic_properties_t properties = message.properties;
    payload = BeginFrame(AMQP_FRAME_HEADER);
    Number(std::uint16_t{AMQP_BASIC_CLASS});
    Number(std::uint16_t{0}); // the weight, which is always so
    Number(std::uint64_t{message.body.size()});
    if (!Advance(amqp_encode_properties(AMQP_BASIC_CLASS, &properties, Rest())))
    {
        return false;
    }
    EndFrame(payload);
    return true;
}

MessageFrames::Pieces MessageFrames::Next()
{
    const std::string_view slice = message.body.substr(done, mostBody);
    done += slice.size();
    atEnd = done == message.body.size();
    if (!slice.empty())
    {
        BeginFrame(AMQP_FRAME_BODY, slice.size());
    }
    const bool copies = !slice.empty() && slice.size() <= mostCopied;
    if (copies)
    {
        next = std::copy(slice.begin(), slice.end(), next);
        *next++ = frameEnd;
    }
    const std::string_view lead(octets.data(), static_cast<std::size_t>(next - octets.data()));
    next = octets.data(); // where the next frame begins, once this one is written
    return copies || slice.empty() ? Pieces{lead} : Pieces{lead, slice, {&frameEnd, 1}};
}

// The size of a payload that is encoded behind it is known to EndFrame only.
char* MessageFrames::BeginFrame(std::uint8_t type, std::size_t payload)
{
    Number(type);
    Number(channel);
    Number(static_cast<std::uint32_t>(payload));
    return next;
}

void MessageFrames::EndFrame(char* payload)
{
    char* const end = next;
    next = payload - sizeof(std::uint32_t);
    Number(static_cast<std::uint32_t>(end - payload));
    next = end;
    *next++ = frameEnd;
}

amqp_bytes_t MessageFrames::Rest()
{
    const auto used = static_cast<std::size_t>(next - octets.data());
    return {used < mostOfHead ? mostOfHead - used : 0, next};
}

bool MessageFrames::Advance(int encoded)
{
    next += std::max(encoded, 0);
    return encoded >= 0;
}

} // namespace Amqp
