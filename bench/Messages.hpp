// The messages that the cases publish, in the library's form and in rabbitmq-c's: the same bytes on the wire. Plain
// values, used by the main thread.
#pragma once

#include <amqp/Envelope.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "support/BareClient.hpp"
#include "values/Bytes.hpp"

namespace Bench
{

using Amqp::ToBytes;

enum class Dress
{
    Plain, // the delivery mode only, which every message of the library has
    Rich   // six properties and four headers
};

struct Kind
{
    std::size_t size;
    Dress dress;

    std::string Name() const; // such as "100 B"
    bool IsLarge() const { return size >= 4096; }
};

// Returns the kinds with bodies of 16 B, 100 B, 4 KiB and 128 KiB, plain and rich.
std::vector<Kind> AllKinds();

// A message as rabbitmq-c takes it. Made anew for each publish, as in a program whose messages differ. Borrows its
// strings and its body from the Message.
struct RawMessage
{
    explicit RawMessage(const class Message& message);
    RawMessage(const RawMessage&) = delete;
    RawMessage& operator=(const RawMessage&) = delete;

    amqp_basic_properties_t properties{};
    std::array<amqp_table_entry_t, 4> headers;
    std::string_view body;
};

// The message of a case. Owns the strings and the body, which both sides borrow.
class Message
{
public:
    explicit Message(const Kind& kind);
    Message(const Message&) = delete;
    Message& operator=(const Message&) = delete;

    const Amqp::Envelope& ForLibrary() const { return envelope; }

private:
    friend struct RawMessage;

    void Enrich();

    Dress dress;
    std::string body;
    std::string contentType = "application/json";
    std::string correlation = "4f1c2a7e";
    std::string replyTo = "answers";
    std::string type = "order.placed";
    std::uint64_t time = 1700000000;
    std::uint32_t attempt = 1;
    std::string region = "europe-west";
    bool sampled = true;
    std::string trace = "00f067aa0ba902b7";
    Amqp::Envelope envelope;
};

// Publishes with rabbitmq-c alone.
inline void Publish(BareClient& client, std::string_view exchange, std::string_view routingKey, const Message& message)
{
    const RawMessage raw(message);
    client.Publish(exchange, routingKey, raw.properties, raw.body);
}

} // namespace Bench
