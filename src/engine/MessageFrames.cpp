#include "engine/MessageFrames.hpp"

#include <algorithm>

namespace Amqp
{

int MessageFrames::EncodeHead()
{
    int status = EncodeHeadAt(octets.data(), mostOfHead);
    if (status != AMQP_STATUS_OK)
    {
        // The method is shorter than mostOfHead, and the content header fits a frame. Leave as much room for the bytes
        // behind the head as `octets` does.
        room.large.resize(mostOfHead + mostBody + octets.size());
        status = EncodeHeadAt(room.large.data(), mostOfHead + mostBody);
    }
    return status;
}

int MessageFrames::EncodeHeadAt(char* place, std::size_t size)
{
    lead = place;
    encoder = FrameEncoder(place, size);
    amqp_basic_publish_t publish = PublishMethod(message);
    const int status = encoder.Method(channel, AMQP_BASIC_PUBLISH_METHOD, &publish);
    return status == AMQP_STATUS_OK ? encoder.Header(channel, message.properties, message.body.size()) : status;
}

std::span<std::string_view> MessageFrames::Next()
{
    std::size_t count = 0;
    const auto leading = [&] { return std::string_view(lead, static_cast<std::size_t>(encoder.next - lead)); };
    atEnd = message.body.empty();
    for (std::size_t frame = 0; frame < mostFrames && !atEnd; ++frame)
    {
        const std::string_view slice = message.body.substr(done, mostBody);
        done += slice.size();
        atEnd = done == message.body.size();
        encoder.Begin(AMQP_FRAME_BODY, channel, slice.size());
        if (slice.size() <= mostCopied)
        {
            encoder.next = std::copy(slice.begin(), slice.end(), encoder.next);
        }
        else
        {
            room.pieces[count++] = leading();
            room.pieces[count++] = slice;
            lead = encoder.next;
        }
        encoder.End();
    }
    room.pieces[count++] = leading();
    lead = encoder.next = octets.data();
    return {room.pieces.data(), count};
}

} // namespace Amqp
