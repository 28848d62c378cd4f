#include "Plan.hpp"

#include <charconv>
#include <cstring>

namespace
{

struct SeriesSize
{
    std::size_t size;
    std::size_t partSize;
};

// Two parts, the last of one byte; three parts, the last one shorter; equal parts; many parts; parts of a full frame
// each.
constexpr std::array<SeriesSize, 5> seriesSizes{
    {{4097, 4096}, {20000, 7000}, {65536, 4096}, {100000, 1000}, {262128, 131064}}};

constexpr std::size_t smallestBody = 16;
constexpr std::size_t largestSingle = 65536;
constexpr std::size_t largestBody = 262128;
constexpr std::size_t noiseOffsets = 4096;

// Returns a number that looks random, but depends on `number` only: the finaliser of splitmix64.
std::uint64_t Mix(std::uint64_t number)
{
    number += 0x9E3779B97F4A7C15U;
    number = (number ^ (number >> 30U)) * 0xBF58476D1CE4E5B9U;
    number = (number ^ (number >> 27U)) * 0x94D049BB133111EBU;
    return number ^ (number >> 31U);
}

// Returns the size of a body. Seven of ten bodies have up to 256 bytes, and one of a hundred has up to 64 KiB.
std::size_t SizeOf(std::uint64_t chance)
{
    const std::uint64_t percent = chance % 100;
    const std::size_t limit = percent < 70 ? 256 : percent < 95 ? 4096 : percent < 99 ? 16384 : largestSingle;
    return smallestBody + chance / 100 % (limit - smallestBody + 1);
}

} // namespace

Message PlanOf(std::uint64_t number)
{
    const std::uint64_t chance = Mix(number);
    const std::uint64_t permille = chance % 1000;
    Message message{.size = SizeOf(chance / 1000)};
    if (permille < 20)
    {
        message.queue = Queue::Nowhere;
    }
    else if (permille < 25)
    {
        const SeriesSize& series = seriesSizes[number % seriesSizes.size()];
        message = {.queue = Queue::Series, .size = series.size, .partSize = series.partSize};
    }
    else if (permille < 400)
    {
        message.queue = Queue::Explicit;
        message.requeues = permille < 55 ? 1 : permille < 60 ? 3 : 0;
        message.nack = permille % 16 == 0;
    }
    message.callback = permille >= 970;
    return message;
}

std::string Hex(const Digest& digest)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    text.reserve(digest.size() * 2);
    for (const unsigned char byte : digest)
    {
        text += digits[byte >> 4U];
        text += digits[byte & 0x0FU];
    }
    return text;
}

std::optional<std::uint64_t> ParseNumber(std::string_view text)
{
    std::uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || last != end)
    {
        return {};
    }
    return number;
}

Bodies::Bodies() : noise(largestBody + noiseOffsets, '\0')
{
    for (std::size_t at = 0; at < noise.size(); ++at)
    {
        noise[at] = static_cast<char>(Mix(at));
    }
    // Allocate once at the start, so that later growth is the library's.
    body.reserve(largestBody);
}

std::string_view Bodies::Make(std::uint64_t number, std::size_t size)
{
    body.assign(noise, number % noiseOffsets, size);
    std::memcpy(body.data(), &number, sizeof number);
    return body;
}
