// Mutates an input frame by frame. Bytes that change at random are seldom a frame afterwards, so most inputs would end
// at their first frame. Half of the time this mutator changes a payload, or repeats, drops, swaps or readdresses
// frames, and corrects the lengths. Otherwise libFuzzer's own mutations change any bytes. One thread.
#include "Frames.hpp"
#include "Fuzz.hpp"

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "support/Content.hpp"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* octets, std::size_t size, std::size_t limit);
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* octets, std::size_t size, std::size_t limit,
                                               unsigned seed);

namespace
{

using Fuzz::Frames;
using Random = std::minstd_rand;

std::size_t Pick(Random& random, std::size_t count)
{
    return random() % count;
}

void ChangePayload(Wire::Frame& frame)
{
    std::string payload = frame.payload;
    const std::size_t room = payload.size() + 64;
    const std::size_t size = payload.size();
    payload.resize(room);
    payload.resize(LLVMFuzzerMutate(reinterpret_cast<std::uint8_t*>(payload.data()), size, room));
    frame.payload = payload;
}

void ChangeMethod(Wire::Frame& frame, Random& random)
{
    static const std::vector<std::string> methods = {Wire::Encode(Wire::BasicDeliver{.consumerTag = "1/1"}),
                                                     Wire::Encode(Wire::BasicDeliver{.consumerTag = "2/1"}),
                                                     Wire::Encode(Wire::BasicReturn{.routingKey = "again"}),
                                                     Wire::Encode(Wire::BasicCancel{.consumerTag = "1/1"}),
                                                     Wire::Encode(Wire::BasicCancelOk{.consumerTag = "1/1"}),
                                                     Wire::Encode(Wire::BasicAck{}),
                                                     Wire::Encode(Wire::ChannelClose{}),
                                                     Wire::Encode(Wire::ChannelCloseOk{}),
                                                     Wire::Encode(Wire::ChannelFlow{}),
                                                     Wire::Encode(Wire::ChannelOpenOk{}),
                                                     Wire::Encode(Wire::ConnectionBlocked{}),
                                                     Wire::Encode(Wire::ConnectionClose{}),
                                                     Wire::Encode(Wire::QueueDeclareOk{})};
    frame.type = Wire::methodFrame;
    frame.payload = methods[Pick(random, methods.size())];
}

void Change(Frames& frames, Random& random)
{
    const std::size_t at = Pick(random, frames.size());
    const std::size_t other = Pick(random, frames.size());
    const auto position = [&frames](std::size_t index) { return frames.begin() + static_cast<std::ptrdiff_t>(index); };
    switch (Pick(random, 10))
    {
    case 0:
        frames.insert(position(other), Wire::Frame(frames[at]));
        break;
    case 1:
        frames.erase(position(at));
        break;
    case 2:
        std::swap(frames[at], frames[other]);
        break;
    case 3:
        frames[at].channel = static_cast<std::uint16_t>(Pick(random, 4));
        break;
    case 4:
        frames.insert(position(at), Wire::Frame{});
        ChangeMethod(frames[at], random);
        break;
    case 5:
        frames[at].type = static_cast<std::uint8_t>(1 + Pick(random, 3));
        break;
    default:
        ChangePayload(frames[at]);
    }
}

} // namespace

std::size_t LLVMFuzzerCustomMutator(std::uint8_t* octets, std::size_t size, std::size_t limit, unsigned seed)
{
    Random random(seed);
    Frames frames = Fuzz::Split({reinterpret_cast<const char*>(octets), size});
    if (frames.empty() || Pick(random, 2) == 0)
    {
        return LLVMFuzzerMutate(octets, size, limit);
    }
    Change(frames, random);
    const std::string changed = Wire::FrameBytes(frames);
    const std::size_t length = std::min(changed.size(), limit);
    std::memcpy(octets, changed.data(), length);
    return length;
}
