// What Amqp::Inbound has to give for octets: its rules once more, in the simplest way. Every frame is taken whole,
// every event is a copy, and the channels are a map. What a method or a header says is what rabbitmq-c decodes from its
// payload alone. No sockets, one thread.
#pragma once

#include "support/Pool.hpp"

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "engine/Event.hpp"
#include "support/Content.hpp"

namespace Fuzz
{

// As octets, so that whoever compares them reads all that an event shows.
std::string EncodedMethod(const amqp_method_t& method);
std::string EncodedProperties(const amqp_basic_properties_t& properties);

struct Expected
{
    Amqp::Event::Kind kind = Amqp::Event::Kind::Stray;
    std::uint16_t channel = 0;
    amqp_method_number_t id = 0;
    std::string method{};
    std::optional<std::string> properties{};
    std::optional<std::string> body = std::string(); // none: somebody took it
};

class InboundModel
{
public:
    explicit InboundModel(std::size_t mostOctets) : frameMax(mostOctets) {}

    void Receive(std::string_view octets) { received.append(octets); }
    void EndStream() { ended = true; }

    // As those of Inbound and Session.
    int NextUnparked(Expected& event);
    int Fail(int status);
    int Failure() const { return failure; }

    // The event that is there without another frame, if there is one.
    const Expected* Ready() const { return ready.empty() ? nullptr : &ready.front(); }

private:
    // A message that has begun.
    struct Open
    {
        Expected message{};
        std::uint64_t missing = 0; // octets of its body
        bool hasHeader = false;
        bool unwanted = false;
    };
    struct Channel
    {
        std::optional<Open> open{};
        bool contentMayFollow = false;
    };

    bool IsReadable() const;
    int TakeFrame(Wire::Frame& frame);
    int Take(const Wire::Frame& frame);
    int TakeMethod(const Wire::Frame& frame);
    int TakeHeader(const Wire::Frame& frame);
    int TakeBody(const Wire::Frame& frame);
    void Interrupt(Channel& channel, Amqp::Event::Kind kind);
    void CompleteWhenWhole(Channel& channel);
    bool GiveUp(Expected& event);

    std::size_t frameMax;
    Wire::Pool pool;
    std::string received;
    std::size_t done = 0; // octets of it
    bool ended = false;
    int failure = AMQP_STATUS_OK;
    std::map<std::uint16_t, Channel> channels;
    std::deque<Expected> ready;
};

} // namespace Fuzz
