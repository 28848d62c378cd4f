// Frames with a method or a content header, in memory of somebody else's: rabbitmq-c encodes what is in them. Used by
// the connection's thread.
#pragma once

#include "engine/OutgoingMessage.hpp"
#include "values/RabbitMq.hpp"

#include <cstddef>
#include <cstdint>

namespace Amqp
{

/// The octet behind each frame.
inline constexpr char frameEnd = static_cast<char>(AMQP_FRAME_END);

/// Writes numbers and frames one after the other, and counts on room for what has a fixed size.
class FrameEncoder
{
public:
    /// `size` octets are for what rabbitmq-c encodes; behind them is room for a frame's end and the next one's begin.
    FrameEncoder(char* place, std::size_t size) : next(place), end(place + size) {}

    /// Both give AMQP_STATUS_OK, or what rabbitmq-c says: it does not fit, or cannot be expressed.
    int Method(std::uint16_t channel, amqp_method_number_t id, void* fields);
    int Header(std::uint16_t channel, const amqp_basic_properties_t& properties, std::uint64_t bodySize);

    void Begin(std::uint8_t type, std::uint16_t channel, std::size_t payload);
    void End() { *next++ = frameEnd; }

    char* next; ///< Behind what is written.

private:
    template <typename Integer>
    void Number(Integer value);
    amqp_bytes_t Rest() const { return {next < end ? static_cast<std::size_t>(end - next) : 0, next}; }
    int Finish(char* payload, int encoded);

    char* end;
};

} // namespace Amqp
