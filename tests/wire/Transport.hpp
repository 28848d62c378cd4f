// The ways in which the library sends messages, compared with rabbitmq-c, which writes them by itself. For an
// executable of its own, which replaces functions of the system.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include <amqp/Envelope.hpp>

#include "support/Content.hpp"

namespace Transport
{

extern std::size_t atOnce;                           // the most bytes that the kernel takes in one call
extern thread_local std::size_t writes;              // how often this thread has handed bytes to the kernel
extern thread_local std::vector<bool> announced;     // for each of these writes, whether more was to follow
extern thread_local bool endsRecords;                // the kernel appends nothing to what this thread sends
extern thread_local std::size_t refusals;            // for so many next sends of this thread, there is no room
extern thread_local std::chrono::milliseconds delay; // before this thread receives its next bytes

constexpr int smallestFrameMax = 4096;

// A message that a test publishes in several ways.
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
    std::vector<Wire::Frame> frames; // as a broker receives them, up to the call that ends the test
    std::vector<std::size_t> writes; // how many for each message
};
Published Publish(const std::vector<Message>& messages, Way way, int frameMax = smallestFrameMax);

// Returns the frames that rabbitmq-c writes for the same messages; the library never lets rabbitmq-c write messages.
std::vector<Wire::Frame> FramesOfRabbitMqC(const std::vector<Message>& messages, int frameMax = smallestFrameMax);

// Messages of every shape: with no body, with one in the first piece, in pieces of its own and in several frames.
std::vector<Message> MessagesOfAllShapes();

} // namespace Transport
