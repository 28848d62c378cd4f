// What the client does, in the targets as in the recording of their seeds: the same calls in the same order, so that
// the replies of a real broker fit. Each function runs on the thread that calls it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include <amqp/Amqp.hpp>

namespace Fuzz
{

constexpr int frameMax = 4096; // the smallest, which makes for small buffers and many frames

std::shared_ptr<Amqp::Connection> Connect(std::uint16_t port, const std::string& user, const std::string& password);

// Two consumers, "1/1" acknowledged by the library and "2/1" by the broker, and publishes that wait to be returned.
class Listening
{
public:
    Listening(std::shared_ptr<Amqp::Connection> connection, const std::string& first, const std::string& second);

    // Runs the loop until it ends, then uses what is left. No more than so many steps are to be needed; after each of
    // them `eachStep` is called.
    void Run(std::size_t steps, const std::function<void()>& eachStep);

    std::size_t Delivered() const { return delivered; }
    std::size_t Returned() const { return returned; }

    // One step, as an application makes it that lives with what the library documents to be survivable; whether
    // there is a next one.
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

// The names that a series of calls is made with; other ones are refused by a broker.
struct Names
{
    std::string queue{};
    std::string exchange = "fuzz.exchange";
    std::string source = "amq.topic";
};

// One call of each kind, on a new channel whenever the last one was closed. What the library throws is swallowed, but
// for the wrong kind of exception. After each call `eachCall` is called.
void CallAll(const std::shared_ptr<Amqp::Connection>& connection, const Names& names,
             const std::function<void()>& eachCall);

} // namespace Fuzz
