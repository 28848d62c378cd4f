#include "InboundSeeds.hpp"

#include "Commands.hpp"
#include "Session.hpp"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "support/Content.hpp"

namespace Fuzz
{

namespace
{

using namespace std::string_literals;
using Octets = std::string;

template <typename Fields>
Octets Method(std::uint16_t channel, const Fields& fields)
{
    return Wire::FrameBytes(Wire::Frame{Wire::methodFrame, channel, Wire::Encode(fields)});
}

Octets Deliver(std::uint16_t channel)
{
    return Method(channel, Wire::BasicDeliver{.consumerTag = std::to_string(channel) + "/1", .routingKey = "key"});
}

Octets Header(std::uint16_t channel, std::uint64_t bodySize)
{
    Wire::Properties properties;
    properties.headers = Wire::Fields{{"key", Wire::Text("value")}};
    properties.messageId = "message";
    return Wire::FrameBytes(Wire::Frame{Wire::headerFrame, channel, Wire::EncodeHeader({bodySize, properties})});
}

Octets Body(std::uint16_t channel, const std::string& fragment)
{
    return Wire::FrameBytes(Wire::Frame{Wire::bodyFrame, channel, fragment});
}

Octets Do(const std::vector<Command>& commands)
{
    std::string octets(commands.size(), '\0');
    std::transform(commands.begin(), commands.end(), octets.begin(), Encode);
    return CommandFrame(octets);
}

Octets Heartbeat(std::uint16_t channel)
{
    return Wire::FrameBytes(Wire::Frame{Wire::heartbeatFrame, channel, ""});
}

} // namespace

std::map<std::string, std::string> InboundSeeds()
{
    using enum Command;
    std::map<std::string, std::string> seeds;
    seeds["interleaved"] = Deliver(1) + Deliver(2) + Header(2, 4) + Deliver(3) + Header(1, 4) + Body(2, "2b") +
                           Do({SendLate, Next}) + Header(3, 4) + Body(1, "1bod") + Body(3, "3b") + Do({Next, Next}) +
                           Body(2, "od") + Do({Keep, Next, TakeBody}) + Body(3, "od") + Do({Move, Drop});
    seeds["many-frames"] = Deliver(1) + Header(1, 8) + Body(1, "") + Body(1, "1b") + Body(1, "") + Do({Next}) +
                           Body(1, "2b") + Body(1, "3b") + Heartbeat(0) + Body(1, "4b") +
                           Do({Next, TakeBody, Park, Next});
    seeds["full-frame"] = Deliver(1) + Header(1, frameMax) + Body(1, std::string(frameMax - 8, 'f')) + Do({Next}) +
                          Body(1, std::string(8, 'f')) + Do({Next, Park, Next, Keep});
    seeds["parked"] = Method(1, Wire::QueueDeclareOk{.queue = "queue"}) + Deliver(1) + Header(1, 4) + Body(1, "body") +
                      Method(1, Wire::ChannelClose{.replyText = "closed"}) + Do({TakeIn}) +
                      Method(1, Wire::BasicCancelOk{.consumerTag = "1/1"}) +
                      Do({TakeParkedClose, NextUnparked, Park, Next, Next, Drop});
    seeds["broken"] = Deliver(1) + Deliver(1) + Header(1, 2) + Body(1, "ab") + Do({Next, Next, Next}) + Deliver(2) +
                      Method(2, Wire::BasicCancel{.consumerTag = "2/1"}) + Do({TakeIn}) + Deliver(3) + Body(3, "x");
    seeds["cut"] = Deliver(1) + Header(1, 4) + Body(1, "bo") + Deliver(2) + Header(2, 4) +
                   Method(1, Wire::ChannelClose{.replyText = "closed"}) + Do({NextUnparked, TakeClose}) + Deliver(3) +
                   Method(3, Wire::ChannelClose{}) + Method(2, Wire::ChannelClose{});
    seeds["cut-by-reply"] = Deliver(1) + Header(1, 4) + Method(1, Wire::ChannelCloseOk{}) + Do({Next, Next});
    seeds["lost"] = Deliver(3) + Deliver(2) + Header(2, 4) + Deliver(1) + Header(1, 4) + Body(1, "bo") + Do({TakeIn});
    seeds["stray"] = Header(1, 4) + Body(1, "body") + Do({Next, Next, Next}) + Method(2, Wire::BasicAck{}) +
                     Header(2, 4) + Body(2, "bo") + Body(2, "dy") + Deliver(2) + Header(2, 0) + Do({Next, Next}) +
                     Method(3, Wire::BasicAck{}) + Method(3, Wire::BasicAck{}) + Header(3, 0) + Body(3, "");
    seeds["stray-cut"] = Method(1, Wire::BasicAck{}) + Header(1, 4) + Body(1, "b") + Method(1, Wire::ChannelClose{}) +
                         Do({Next, Next}) + Header(1, 4);
    seeds["empty"] = Deliver(1) + Header(1, 0) + Method(1, Wire::BasicReturn{.routingKey = "key"}) + Header(1, 0) +
                     Do({Next, Keep, Next, TakeBody, Park}) + Method(1, Wire::BasicGetOk{}) + Header(1, 1) +
                     Body(1, "") + Body(1, "b");
    seeds["absurd-size"] = Deliver(1) + Header(1, ~std::uint64_t{0}) + Body(1, "body") + Do({Next}) + Body(1, "body") +
                           Deliver(2) + Header(2, std::uint64_t{1} << 40) + Body(2, "body");
    seeds["other-class"] = Wire::FrameBytes(Wire::Frame{Wire::headerFrame, 1, "\0\x0A"s + std::string(12, '\0')}) +
                           Do({Next, Next}) + Deliver(1) +
                           Wire::FrameBytes(Wire::Frame{Wire::headerFrame, 1, "\0\x55"s + std::string(12, '\0')});
    seeds["channel-0"] = Deliver(0) + Heartbeat(0) + Header(0, 4) + Heartbeat(0) + Body(0, "body") +
                         Method(0, Wire::ConnectionBlocked{.reason = "low on memory"}) + Heartbeat(0) +
                         Method(0, Wire::ConnectionUnblocked{}) + Do({Next, Next}) + Heartbeat(0) +
                         Method(0, Wire::ConnectionClose{.replyText = "shutdown"}) + Do({Next});
    seeds["heartbeats"] = Do({Next}) + Deliver(1) + Heartbeat(1) + Header(1, 4) + Heartbeat(1) + Body(1, "body") +
                          Do({Next}) + Heartbeat(1) + Method(1, Wire::BasicCancel{.consumerTag = "1/1"});
    seeds["other-type"] = Wire::FrameBytes(Wire::Frame{9, 1, "nothing"}) + Deliver(1) +
                          Wire::FrameBytes(Wire::Frame{9, 1, "nothing"}) + Header(1, 4) + Body(1, "body") +
                          Body(1, "b");
    seeds["given-up"] = Deliver(1) + Do({Next, Fail}) + Header(1, 4) + Do({Next}) + Body(1, "body") + Deliver(2) +
                        Do({Next, GiveUpPeer}) + Header(2, 0);
    seeds["left"] =
        Deliver(1) + Header(1, 4) + Body(1, "body") + Deliver(2) + Header(2, 4) + Body(2, "bo") + Do({TakeIn, Leave});
    return seeds;
}

} // namespace Fuzz
