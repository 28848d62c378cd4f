// What message number N is: where it goes, how large it is, what becomes of it. A function of the number alone, so that
// publisher and consumer agree without a word. No state: may be called from any thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

enum class Queue
{
    Auto,     // acknowledged by the broker as it sends
    Explicit, // by the handler's verdict
    Series,   // large bodies in parts
    Nowhere   // no such queue: the broker sends the message back
};

struct Message
{
    Queue queue = Queue::Auto;
    std::size_t size = 0;
    std::size_t partSize = 0; // 0: one message
    unsigned requeues = 0;    // how often the handler puts it back before it takes it
    bool nack = false;        // the handler's last verdict
    bool callback = false;    // published with a callback although it is routed, while few enough are kept
};

Message PlanOf(std::uint64_t number);

using Digest = std::array<unsigned char, 32>;

std::string Hex(const Digest& digest);

/// A number in decimal and nothing else.
std::optional<std::uint64_t> ParseNumber(std::string_view text);

/// Bodies that differ in every message: equal large bodies would be one series to the library.
class Bodies
{
public:
    Bodies();

    /// Valid until the next call.
    std::string_view Make(std::uint64_t number, std::size_t size);

private:
    std::string noise;
    std::string body;
};
