// Computes the events that Amqp::Inbound has to return for given bytes: the same rules in the simplest way. The model
// takes whole frames only, copies every event, and keeps the channels in a map. rabbitmq-c decodes each payload by
// itself. Owns all its memory, and uses no socket. One thread.
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

// Return bytes, so that a comparison reads everything that an event shows.
std::string EncodedMethod(const amqp_method_t& method);
std::string EncodedProperties(const amqp_basic_properties_t& properties);

struct Expected
{
    Amqp::Event::Kind kind = Amqp::Event::Kind::Stray;
    std::uint16_t channel = 0;
    amqp_method_number_t id = 0;
    std::string method{};
    std::optional<std::string> properties{};
    std::optional<std::string> body = std::string(); // empty optional: the target has taken the body
};

class InboundModel
{
public:
    explicit InboundModel(std::size_t mostOctets) : frameMax(mostOctets) {}

    void Receive(std::string_view octets) { received.append(octets); }
    void EndStream() { ended = true; }

    // These functions return what those of Inbound and Session have to return.
    int NextUnparked(Expected& event);
    int Fail(int status);
    int Failure() const { return failure; }

    // Returns the event that needs no other frame, or null if there is none.
    const Expected* Ready() const { return ready.empty() ? nullptr : &ready.front(); }

private:
    // An unfinished message.
    struct Open
    {
        Expected message{};
        std::uint64_t missing = 0; // bytes of the message's body that have not arrived yet
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
    std::size_t done = 0; // how many of the received bytes were used
    bool ended = false;
    int failure = AMQP_STATUS_OK;
    std::map<std::uint16_t, Channel> channels;
    std::deque<Expected> ready;
};

} // namespace Fuzz
