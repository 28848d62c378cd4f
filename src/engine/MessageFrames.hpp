// The frames of a message as the kernel takes them: what rabbitmq-c encodes, and the body where it lies. rabbitmq-c
// itself would copy the body, and hand over each frame alone. Used by the connection's thread, for one message.
#pragma once

#include "engine/FrameEncoder.hpp"
#include "engine/OutgoingMessage.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace Amqp
{

class MessageFrames
{
public:
    /// A frame is at most `mostOctets` long. The message is kept by reference; `large` is where a head lies that is
    /// too long to lie here.
    MessageFrames(std::uint16_t number, const OutgoingMessage& outgoing, std::size_t mostOctets,
                  std::vector<char>& large)
        : channel(number), message(outgoing), mostBody(mostOctets - frameOverhead), room(large)
    {
    }

    /// The method and the properties, first of all. Gives AMQP_STATUS_OK, or what rabbitmq-c says; what has to be
    /// checked is checked already.
    int EncodeHead();

    /// The next frames of the body, the head before the first one, as octets that follow each other on the wire; some
    /// pieces may be empty. Valid until the next call; whoever hands them over may shorten them.
    std::span<std::string_view> Next();
    bool HasNext() const { return !atEnd; }

    /// Octets of most heads; a longer one costs memory that is kept for the next.
    static constexpr std::size_t mostOfHead = 4096;
    /// Copying a larger body to the rest takes longer than handing it over as a piece of its own.
    static constexpr std::size_t mostCopied = 1024;
    /// As many as there is room for in one call of the kernel.
    static constexpr std::size_t mostFrames = 64;

private:
    int EncodeHeadAt(char* place, std::size_t size);

    std::uint16_t channel;
    const OutgoingMessage& message;
    std::size_t mostBody;
    std::vector<char>& room;
    std::size_t done = 0; // of the body
    bool atEnd = false;
    // What is encoded: the head, and then what goes between the slices of the body.
    std::array<char, mostOfHead + mostCopied + (mostFrames + 1) * frameOverhead> octets;
    const char* lead = octets.data(); // the first one that is in no piece yet
    FrameEncoder encoder{octets.data(), mostOfHead};
    std::array<std::string_view, 2 * mostFrames + 1> pieces;
};

} // namespace Amqp
