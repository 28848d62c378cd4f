// Cuts one message into frames, many of which the kernel takes in one call. rabbitmq-c encodes the method and the
// content header. Large slices of the body are handed over without a copy; rabbitmq-c itself would copy the body and
// make a call for each frame. An object serves one message; only the connection's thread uses it.
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
    /// The most frames of a body that fit into one call of the kernel.
    static constexpr std::size_t mostFrames = 64;

    /// Memory that the frames of all messages use, one message after the other.
    struct Room
    {
        std::vector<char> large; // for a head that is too long for a MessageFrames object
        std::array<std::string_view, 2 * mostFrames + 1> pieces;
    };

    /// Makes frames of at most `mostOctets` bytes. The message and the room must outlive this object.
    MessageFrames(std::uint16_t number, const OutgoingMessage& outgoing, std::size_t mostOctets, Room& shared)
        : channel(number), message(outgoing), mostBody(mostOctets - frameOverhead), room(shared)
    {
    }

    /// Encodes the head: the frames of the method and the content header. Call EncodeHead before Next. Returns
    /// AMQP_STATUS_OK or rabbitmq-c's status. The caller has already checked that everything can be encoded.
    int EncodeHead();

    /// Returns as many frames of the body as fit, as pieces that follow each other on the wire. The first call also
    /// returns the head. Some pieces may be empty. The pieces are valid until the next call. The caller may shorten
    /// them.
    std::span<std::string_view> Next();
    bool HasNext() const { return !atEnd; }

    /// The longest head, in bytes, that is encoded in this object. Few heads are longer.
    static constexpr std::size_t mostOfHead = 4096;
    /// The largest slice of a body that is copied behind the encoded bytes. Copying a larger slice would take longer
    /// than handing it over as a piece of its own.
    static constexpr std::size_t mostCopied = 1024;

private:
    int EncodeHeadAt(char* place, std::size_t size);

    std::uint16_t channel;
    const OutgoingMessage& message;
    std::size_t mostBody;
    Room& room;
    std::size_t done = 0; // bytes of the body that Next has returned
    bool atEnd = false;
    // The encoded bytes: first the head, then the bytes between the slices of the body.
    std::array<char, mostOfHead + mostCopied + (mostFrames + 1) * frameOverhead> octets;
    const char* lead = octets.data(); // the first encoded byte that is in no piece yet
    FrameEncoder encoder{octets.data(), mostOfHead};
};

} // namespace Amqp
