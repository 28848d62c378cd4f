// The deliveries that the peer sends to the consumers of one connection: one message many times, or the parts of a
// series. Makes the bytes, and leaves the writing to the owner. Only the thread that serves the connection uses this.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Bench
{

struct Subscriber
{
    std::uint16_t channel;
    std::string tag;
};

// A message as its publisher sent it: the payload of its content header, and its body.
struct Template
{
    std::string header;
    std::string body;
    std::uint32_t frameMax;

    bool operator==(const Template&) const = default;
};

class Deliveries
{
public:
    Deliveries() = default;

    // Makes `count` copies of a message, for the subscribers in turn.
    static Deliveries Copies(const Template& message, const std::vector<Subscriber>& subscribers, std::size_t count);
    // Makes `count` parts for one subscriber. Their indexes, from 0, replace the index in the message's headers.
    static Deliveries Parts(const Template& message, const Subscriber& subscriber, std::size_t count);

    // Repeats the same message for the same subscribers, `count` times. Making new copies would take longer than
    // sending them.
    void Again(std::size_t count) { left = count; }

    // Returns the bytes to be sent next; empty at the end.
    std::string_view Next() const;
    void Sent(std::size_t octets);

private:
    void Renew();

    std::string block;             // some whole deliveries
    std::vector<std::size_t> ends; // where each delivery in the block ends
    std::size_t sent = 0;          // bytes of the block that were sent
    std::size_t left = 0;          // deliveries that are not sent yet, with those in the block
    std::size_t indexAt = 0;       // where the part's index is in the block; 0: the block has no index
    std::uint64_t index = 0;
};

} // namespace Bench
