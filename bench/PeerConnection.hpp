// One connection that the peer serves: accepts whatever it is asked for, takes what is published and drops it as
// cheaply as it can. A message published to the exchange "repeat" comes back to the connection's consumers as many
// times as its routing key says, one published to "series" as that many parts. Owned and used by one thread.
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

    // Until the client goes.
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
    std::size_t begin = 0; // of what is in the buffer
    std::size_t end = 0;
    std::size_t skip = 0; // octets of a body that have not come yet
    std::string answers;
    Deliveries deliveries;
    std::optional<Template> repeated; // what they are copies of
    std::vector<Subscriber> subscribers;
    std::optional<Request> request;
    std::uint32_t frameMax = 131072;
    bool closed = false;
    bool smallBody = false; // was the latest frame
};

} // namespace Bench
