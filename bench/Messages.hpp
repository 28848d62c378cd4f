// What is published in the cases, in the library's form and in rabbitmq-c's: the same octets on the wire.
#pragma once

#include "Bare.hpp"

#include <amqp/Envelope.hpp>

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace Bench
{

enum class Dress
{
    Plain, // a delivery mode, as every message of the library has
    Rich   // six properties and four headers
};

struct Kind
{
    std::size_t size;
    Dress dress;

    std::string Name() const; // such as "100 B" or "4 KiB, properties"
};

// Of bodies of 16 B, 100 B, 4 KiB and 128 KiB, plain and rich.
std::vector<Kind> AllKinds();

// A message of so many bytes. Neither copied nor moved: each form borrows from it.
class Message
{
public:
    explicit Message(const Kind& kind);
    Message(const Message&) = delete;
    Message& operator=(const Message&) = delete;

    const Amqp::Envelope& ForLibrary() const { return envelope; }
    const amqp_basic_properties_t& ForBare() const { return properties; }
    const std::string& Body() const { return body; }

private:
    void Enrich();

    std::string body;
    Amqp::Envelope envelope;
    std::array<amqp_table_entry_t, 4> headers{};
    amqp_basic_properties_t properties{};
};

} // namespace Bench
