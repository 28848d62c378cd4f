// Encodes methods and content headers as frames, in memory that the caller owns. rabbitmq-c encodes their fields. Only
// the connection's thread uses an encoder.
#pragma once

#include "engine/OutgoingMessage.hpp"
#include "values/RabbitMq.hpp"

#include <cstddef>
#include <cstdint>

namespace Amqp
{

/// The byte that ends each frame.
inline constexpr char frameEnd = static_cast<char>(AMQP_FRAME_END);

/// Writes numbers and frames one after the other. Does not check that there is room for what has a fixed size.
class FrameEncoder
{
public:
    /// rabbitmq-c encodes into the first `size` bytes at `place`. Behind these bytes the caller leaves room for the end
    /// of a frame and for the head of the next.
    FrameEncoder(char* place, std::size_t size) : next(place), end(place + size) {}

    /// Encode a frame with a method or a content header. Both functions return AMQP_STATUS_OK or rabbitmq-c's status:
    /// there is too little room, or AMQP cannot express a field.
    int Method(std::uint16_t channel, amqp_method_number_t id, void* fields);
    int Header(std::uint16_t channel, const amqp_basic_properties_t& properties, std::uint64_t bodySize);

    void Begin(std::uint8_t type, std::uint16_t channel, std::size_t payload);
    void End() { *next++ = frameEnd; }

    char* next; ///< The place of the next byte to be written.

private:
    template <typename Integer>
    void Number(Integer value);
    amqp_bytes_t Rest() const { return {next < end ? static_cast<std::size_t>(end - next) : 0, next}; }
    int Finish(char* payload, int encoded);

    char* end;
};

} // namespace Amqp
