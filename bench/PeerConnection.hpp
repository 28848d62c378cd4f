// One connection that the peer serves. It accepts every call, and drops published messages as fast as it can. If a
// message is published to the exchange "repeat", its routing key is a number, and the connection's consumers receive
// the message so many times. With the exchange "series" they receive so many parts. Owned and used by one thread.
#pragma once

#include "Deliveries.hpp"

#include "support/Stream.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Bench
{

class PeerConnection
{
public:
    explicit PeerConnection(Wire::Descriptor connected);

    // Serves the client until the connection ends.
    void Serve();

private:
    struct Request
    {
        bool series;
        std::size_t count;
        std::size_t bodySize;
        Template message;
    };

    bool Exchange();
    void Nap();
    bool Read(bool wait);
    void TakeFrames();
    void TakeMethod(std::uint16_t channel, std::string_view payload);
    void TakePublish(std::string_view payload);
    void TakeContent(std::uint8_t type, std::string_view payload);
    void Deliver(const Request& wanted);
    void Answer(std::uint16_t channel, std::string_view payload);

    Wire::Descriptor socket;
    std::vector<char> buffer;
    std::size_t begin = 0; // where the unread bytes in the buffer begin
    std::size_t end = 0;   // where they end
    std::size_t skip = 0;  // bytes of a body that are to be dropped when they arrive
    std::string answers;
    Deliveries deliveries;
    std::optional<Template> repeated; // the message of which the deliveries are copies
    std::vector<Subscriber> subscribers;
    std::optional<Request> request;
    std::uint32_t frameMax = 131072;
    bool closed = false;
    bool smallBody = false; // the latest frame was a small body
};

} // namespace Bench
