#include "KnownFault.hpp"

#include <cstddef>

#include "support/Content.hpp"

// The sanitizer's, where there is one.
extern "C" __attribute__((weak)) void __lsan_disable(); // NOLINT
extern "C" __attribute__((weak)) void __lsan_enable();  // NOLINT

namespace Fuzz
{

namespace
{

constexpr std::size_t frameHead = 7;                      // type, channel and size of a frame
constexpr std::size_t headerFixed = 12;                   // class, weight and body size of a content header
constexpr std::uint64_t refused = std::uint64_t{1} << 26; // what Memory.cpp has the sanitizer refuse

std::uint64_t Number(const std::string& octets, std::size_t at, std::size_t count)
{
    std::uint64_t number = 0;
    for (std::size_t i = at; i < at + count; ++i)
    {
        number = number << 8 | static_cast<std::uint8_t>(octets[i]);
    }
    return number;
}

// Calls `visit` with the place where the payload of each content header begins. The last one may lack its end, for
// octets that are cut off are still read by the client before it finds that out.
template <typename Octets, typename Visit>
void EachHeader(Octets& octets, Visit visit)
{
    for (std::size_t at = 0; at + frameHead + headerFixed <= octets.size();)
    {
        if (static_cast<std::uint8_t>(octets[at]) == Wire::headerFrame)
        {
            visit(at + frameHead);
        }
        at += static_cast<std::size_t>(Number(octets, at + 3, 4)) + Wire::frameOverhead;
    }
}

bool AnnouncesTooMuch(const std::string& octets)
{
    bool found = false;
    EachHeader(octets, [&](std::size_t payload) { found = found || Number(octets, payload + 4, 8) >= refused; });
    return found;
}

} // namespace

std::string WithBasicHeaders(std::string octets)
{
    EachHeader(octets,
               [&](std::size_t payload)
               {
                   octets[payload] = 0;
                   octets[payload + 1] = 60;
               });
    return octets;
}

ExpectedLeak::ExpectedLeak(const std::string& octets) : expected(__lsan_disable != nullptr && AnnouncesTooMuch(octets))
{
    if (expected)
    {
        __lsan_disable();
    }
}

ExpectedLeak::~ExpectedLeak()
{
    if (expected)
    {
        __lsan_enable();
    }
}

} // namespace Fuzz
