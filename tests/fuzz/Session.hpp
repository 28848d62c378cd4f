// The client of the targets, and of the program that records their seeds. Both make the same calls in the same order,
// so that the recorded replies of a real broker fit. Each object belongs to the thread that made it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include <amqp/Amqp.hpp>

namespace Fuzz
{

constexpr int frameMax = 4096; // the smallest that AMQP allows, for small buffers and many frames

std::shared_ptr<Amqp::Connection> Connect(std::uint16_t port, const std::string& user, const std::string& password);

// Two consumers, and messages that the broker will return. The consumer "1/1" is Amqp::Explicit, and "2/1" Amqp::Auto.
class Listening
{
public:
    Listening(std::shared_ptr<Amqp::Connection> connection, const std::string& first, const std::string& second);

    // Runs the loop until it ends, then uses the connection further. Fails if the loop needs more than `steps` steps.
    // Calls `eachStep` after each step.
    void Run(std::size_t steps, const std::function<void()>& eachStep);

    std::size_t Delivered() const { return delivered; }
    std::size_t Returned() const { return returned; }

    // Makes one step, and survives the exceptions after which the connection stays usable. Returns whether to make
    // another step.
    bool Step();

private:
    Amqp::Acknowledge Handle(const Amqp::Envelope& envelope);
    void PublishUnroutable();

    std::shared_ptr<Amqp::Connection> connection;
    std::shared_ptr<Amqp::Channel> explicitly;
    std::shared_ptr<Amqp::Channel> automatic;
    std::string tag;
    std::size_t delivered = 0;
    std::size_t returned = 0;
};

// The names that CallAll uses. A broker accepts these, and refuses some calls with other names.
struct Names
{
    std::string queue{};
    std::string exchange = "fuzz.exchange";
    std::string source = "amq.topic";
};

// Makes one call of each kind, on a new channel if an error has closed the last one. Catches Amqp::ErrorCode only; any
// other exception ends the target. Calls `eachCall` after each call.
void CallAll(const std::shared_ptr<Amqp::Connection>& connection, const Names& names,
             const std::function<void()>& eachCall);

} // namespace Fuzz
