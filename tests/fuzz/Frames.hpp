// Octets as frames. Plain functions, no threads.
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

// The whole frames at the beginning; what follows them is dropped.
inline Frames Split(std::string_view octets)
{
    Frames frames;
    Wire::Reader reader(octets);
    while (reader.Left() >= Wire::frameOverhead)
    {
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
        frames.push_back(std::move(frame));
    }
    return frames;
}

} // namespace Fuzz
