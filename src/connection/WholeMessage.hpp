// A small message as the octets of all its frames, to be written in one piece: rabbitmq-c, which encodes it, would
// write each frame by itself. Used by the connection's thread, for one message.
#pragma once

#include "connection/OutgoingMessage.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace Amqp
{

class WholeMessage
{
public:
    /// The octets, valid as long as this object; nothing when they are many. What has to be checked is checked already.
    std::optional<std::string_view> Encode(std::uint16_t channel, const OutgoingMessage& message);

private:
    char* BeginFrame(std::uint8_t type, std::uint16_t channel);
    void EndFrame(char* payload);
    template <typename Integer>
    void Number(Integer value);
    /// For rabbitmq-c to encode something into; a frame's end fits behind it.
    amqp_bytes_t Rest();
    bool Advance(int encoded);

    /// Copying larger ones takes longer than writing their frames.
    static constexpr std::size_t most = 4096;

    std::array<char, most + frameOverhead> octets;
    char* next = octets.data();
};

} // namespace Amqp
