// Splits bytes into frames. Plain functions without state.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/Content.hpp"

namespace Fuzz
{

using Frames = std::vector<Wire::Frame>;

// Calls `visit` with each frame and the place where the frame begins. Stops at the first frame that is not complete.
template <typename Visit>
void EachFrame(std::string_view octets, Visit visit)
{
    Wire::Reader reader(octets);
    while (reader.Left() >= Wire::frameOverhead)
    {
        const std::size_t begin = octets.size() - reader.Left();
        Wire::Frame frame;
        frame.type = reader.Octet();
        frame.channel = reader.Short();
        const std::size_t length = reader.Long();
        if (reader.Left() < length + 1)
        {
            break;
        }
        frame.payload = reader.Raw(length);
        reader.Octet();
        visit(begin, std::move(frame));
    }
}

inline Frames Split(std::string_view octets)
{
    Frames frames;
    EachFrame(octets, [&frames](std::size_t, Wire::Frame&& frame) { frames.push_back(std::move(frame)); });
    return frames;
}

} // namespace Fuzz
