// The ways in which a message gets onto the wire, and what goes through rabbitmq-c. For an executable of its own, which
// stands in for functions of rabbitmq-c and of the system.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include <amqp/Channel.hpp>

#include "support/Content.hpp"

namespace Transport
{

extern std::size_t throughRabbitMqC; // messages, so far
extern std::size_t atOnce;           // octets that the kernel takes at most

constexpr int smallestFrameMax = 4096;

enum class Way
{
    Direct,
    InABatch,
    ThroughRabbitMqC // over TLS
};

using Publishing = std::function<void(Amqp::Channel&)>;

// What a broker receives, up to a call that ends it.
std::vector<Wire::Frame> FramesOf(const Publishing& publish, Way way, int frameMax = smallestFrameMax);

// Messages of every shape: with no body, with one in the first piece, in pieces of its own and in several frames.
void PublishSizes(Amqp::Channel& channel);

} // namespace Transport
