// The ways in which messages get onto the wire, beside rabbitmq-c, which writes them by itself. For an executable of
// its own, which stands in for functions of the system.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include <amqp/Envelope.hpp>

#include "support/Content.hpp"

namespace Transport
{

extern std::size_t atOnce;                           // bytes that the kernel takes at most
extern thread_local std::size_t writes;              // calls of this thread that hand bytes to the kernel, so far
extern thread_local std::size_t refusals;            // next sends of this thread for which the kernel has no room
extern thread_local std::chrono::milliseconds delay; // of the next bytes that this thread reads

constexpr int smallestFrameMax = 4096;

// What a test publishes in one way and in another.
struct Message
{
    std::string body{};
    std::string exchange{};
    std::string routingKey = "q";
    bool hasCallback = false;
    Amqp::Envelope envelope{std::string_view(), Amqp::MetaData::Persistent}; // without the body
};

enum class Way
{
    OverTcp,
    InABatch,
    OverTls
};

constexpr Way everyWay[] = {Way::OverTcp, Way::InABatch, Way::OverTls};

struct Published
{
    std::vector<Wire::Frame> frames; // as a broker receives them, up to a call that ends it
    std::vector<std::size_t> writes; // for each message
};
Published Publish(const std::vector<Message>& messages, Way way, int frameMax = smallestFrameMax);

// The same frames from rabbitmq-c, which the library does not ask to write messages.
std::vector<Wire::Frame> FramesOfRabbitMqC(const std::vector<Message>& messages, int frameMax = smallestFrameMax);

// Messages of every shape: with no body, with one in the first piece, in pieces of its own and in several frames.
std::vector<Message> MessagesOfAllShapes();

} // namespace Transport
