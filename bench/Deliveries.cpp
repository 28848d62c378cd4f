#include "Deliveries.hpp"

#include "support/Content.hpp"

#include <algorithm>
#include <stdexcept>

namespace Bench
{

namespace
{

using namespace Wire;

constexpr std::size_t blockSize = 262144; // few large writes take the peer less time than many small ones
constexpr std::string_view indexHeader = "multipart.index";

std::string Delivery(const Template& message, const Subscriber& subscriber)
{
    const BasicDeliver deliver{.consumerTag = subscriber.tag, .deliveryTag = 1, .routingKey = "q"};
    std::string octets = FrameBytes({methodFrame, subscriber.channel, Encode(deliver)});
    octets += FrameBytes({headerFrame, subscriber.channel, message.header});
    const std::size_t most = message.frameMax - frameOverhead;
    for (std::size_t start = 0; start < message.body.size(); start += most)
    {
        octets += FrameBytes({bodyFrame, subscriber.channel, message.body.substr(start, most)});
    }
    return octets;
}

} // namespace

Deliveries Deliveries::Copies(const Template& message, const std::vector<Subscriber>& subscribers, std::size_t count)
{
    Deliveries made;
    made.left = count;
    while (made.block.size() < blockSize)
    {
        for (const Subscriber& subscriber : subscribers)
        {
            made.block += Delivery(message, subscriber);
            made.ends.push_back(made.block.size());
        }
    }
    return made;
}

Deliveries Deliveries::Parts(const Template& message, const Subscriber& subscriber, std::size_t count)
{
    Deliveries made;
    made.left = count;
    made.block = Delivery(message, subscriber);
    made.ends.push_back(made.block.size());
    const std::size_t name = made.block.find(indexHeader);
    if (name == std::string::npos)
    {
        throw std::runtime_error("the part of a series has no index");
    }
    made.indexAt = name + indexHeader.size() + 1; // the byte of the value's kind comes before the value
    return made;
}

std::string_view Deliveries::Next() const
{
    if (left == 0)
    {
        return {};
    }
    const std::size_t end = ends[std::min(left, ends.size()) - 1];
    return std::string_view(block).substr(sent, end - sent);
}

void Deliveries::Sent(std::size_t octets)
{
    sent += octets;
    const std::size_t whole = std::min(left, ends.size());
    if (sent == ends[whole - 1])
    {
        left -= whole;
        sent = 0;
        Renew();
    }
}

void Deliveries::Renew()
{
    if (indexAt == 0)
    {
        return;
    }
    ++index;
    for (std::size_t octet = 0; octet < sizeof index; ++octet)
    {
        block[indexAt + octet] = static_cast<char>(index >> (8 * (sizeof index - 1 - octet)));
    }
}

} // namespace Bench
