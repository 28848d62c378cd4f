// What the peer sends to the consumers of one connection: one message many times, or the parts of a series. Octets for
// the socket, without regard to when it takes them. Used by the thread that serves the connection.
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

// A message as its publisher sent it: what goes into the header frame, and the body.
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

    // `count` copies, to the subscribers in turn.
    static Deliveries Copies(const Template& message, const std::vector<Subscriber>& subscribers, std::size_t count);
    // `count` messages for one subscriber, each with its number from 0 in the header that tells a part's index.
    static Deliveries Parts(const Template& message, const Subscriber& subscriber, std::size_t count);

    // So many copies more, of the same message to the same subscribers: making them takes longer than sending them.
    void Again(std::size_t count) { left = count; }

    // What is to be sent next; empty at the end.
    std::string_view Next() const;
    void Sent(std::size_t octets);

private:
    void Renew();

    std::string block;             // some whole deliveries
    std::vector<std::size_t> ends; // of each delivery in the block
    std::size_t sent = 0;          // of the block
    std::size_t left = 0;          // deliveries, those of the block included
    std::size_t indexAt = 0;       // where in the block a part's index stands; 0 where there is none
    std::uint64_t index = 0;
};

} // namespace Bench
