// Plans each message: its queue, its size and its verdicts. The plan depends on the message's number alone, so
// publisher and consumer make the same plan. The functions have no state, and any thread may call them. Bodies belong
// to one thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

enum class Queue
{
    Auto,     // the broker settles each delivery at once
    Explicit, // the handler's verdict settles the delivery
    Series,   // for large bodies in parts
    Nowhere   // there is no such queue, so the broker returns the message
};

struct Message
{
    Queue queue = Queue::Auto;
    std::size_t size = 0;
    std::size_t partSize = 0; // 0: not in parts
    unsigned requeues = 0;    // how often the handler requeues the message first
    bool nack = false;        // the handler rejects the message in the end
    bool callback = false;    // publish with a callback although the message is routed, unless many callbacks are kept
};

Message PlanOf(std::uint64_t number);

using Digest = std::array<unsigned char, 32>;

std::string Hex(const Digest& digest);

/// Returns the decimal number that is the whole string, or nothing if the string is something else.
std::optional<std::uint64_t> ParseNumber(std::string_view text);

/// Makes a different body for every message: the library would take equal large bodies for one series.
class Bodies
{
public:
    Bodies();

    /// Returns the body of a message. The body is valid until the next call.
    std::string_view Make(std::uint64_t number, std::size_t size);

private:
    std::string noise;
    std::string body;
};
