// The frames of a message as the kernel takes them: what rabbitmq-c encodes, and the body where it lies. rabbitmq-c
// itself would copy the body, and hand over each frame alone. Used by the connection's thread, for one message.
#pragma once

#include "connection/OutgoingMessage.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Amqp
{

class MessageFrames
{
public:
    /// Octets that follow each other on the wire; some may be empty.
    using Pieces = std::array<std::string_view, 3>;

    /// A frame is at most `mostOctets` long. The message is kept by reference.
    MessageFrames(std::uint16_t number, const OutgoingMessage& outgoing, std::size_t mostOctets)
        : channel(number), message(outgoing), mostBody(mostOctets - frameOverhead)
    {
    }

    /// The method and the properties, first of all. False when they are many: rabbitmq-c has to write them then. What
    /// has to be checked is checked already.
    bool EncodeHead();

    /// The next frame of the body, the head before the first one; valid until the next call.
    Pieces Next();
    bool HasNext() const { return !atEnd; }

    /// Octets of the head at most; every broker takes frames of so many.
    static constexpr std::size_t mostOfHead = 4096;
    /// Copying a larger body to the rest takes longer than handing it over as a piece of its own.
    static constexpr std::size_t mostCopied = 1024;

private:
    char* BeginFrame(std::uint8_t type, std::size_t payload = 0);
    void EndFrame(char* payload);
    template <typename Integer>
    void Number(Integer value);
    /// For rabbitmq-c to encode something into; a frame's end and the beginning of the next one fit behind it.
    amqp_bytes_t Rest();
    bool Advance(int encoded);

    std::uint16_t channel;
    const OutgoingMessage& message;
    std::size_t mostBody;
    std::size_t done = 0; // of the body
    bool atEnd = false;
    std::array<char, mostOfHead + mostCopied + 2 * frameOverhead> octets;
    char* next = octets.data();
};

} // namespace Amqp
