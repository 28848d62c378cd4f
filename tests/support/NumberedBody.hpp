// A large body of which no two parts are alike. No threads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace Wire
{

// The 32-bit numbers from 0 up, as they lie in memory.
inline std::string NumberedBody(std::size_t size)
{
    std::string bytes(size, '\0');
    for (std::uint32_t number = 0; number < size / sizeof number; ++number)
    {
        std::memcpy(bytes.data() + number * sizeof number, &number, sizeof number);
    }
    return bytes;
}

} // namespace Wire
