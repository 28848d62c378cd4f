// Sends a message with headers of every kind, tables and arrays in them, and prints what arrives.
//
//   headers
#include "Connect.hpp"
#include "Printer.hpp"

#include <amqp/Amqp.hpp>

#include <iostream>

int main()
try
{
    Amqp::Envelope message("with headers", Amqp::MetaData::NonPersistent);
    Amqp::Table& headers = message.Headers(); // filled in place; an envelope owns them
    headers.Insert("text", "five");
    headers.Insert("flag", true);
    headers.Insert("number", 5); // the type of the argument decides what is sent: 32 bits
    headers.Insert("octet", std::uint8_t{200});
    headers.Insert("signed octet", std::int8_t{-100});
    headers.Insert("port", std::uint16_t{5672});
    headers.Insert("depth", std::int16_t{-10'000});
    headers.Insert("count", 4'000'000'000U);
    headers.Insert("size", std::uint64_t{1} << 40);
    headers.Insert("balance", -std::int64_t{5'000'000'000});
    headers.Insert("ratio", 0.25F);
    headers.Insert("latitude", 60.39);

    // All elements of an array have to be of one kind: a receiver drops those that differ from the first. An array is
    // put into a table as the field value that it becomes.
    headers.Insert("colours", Amqp::FieldValue(Amqp::Array({"red", "green"})));
    headers.Insert("matrix", Amqp::FieldValue(Amqp::Array({Amqp::Array({1, 2}), Amqp::Array({3, 4})})));
    Amqp::Table place;
    place.Insert("city", "Bergen");
    place.Insert("harbour", true);
    headers.Insert("place", place); // a copy

    const auto connection = Connect("headers");
    const auto channel = std::make_shared<Amqp::Channel>(connection, Amqp::Channel::OnErrorThrow);
    const std::string queue = channel->DeclareQueue(/*durable*/ false, /*exclusive*/ true, /*autoDelete*/ true);
    bool received = false;
    const auto onMessage = [&](const Amqp::Envelope& arrived)
    {
        Printer{"  "}(arrived.Headers());
        received = true;
        return Amqp::Ack;
    };
    channel->Subscribe(queue, onMessage, Amqp::Explicit, /*noLocal*/ false, /*exclusive*/ false);
    channel->Publish("", queue, message, 0, {});
    RunUntil(*connection, [&] { return received; });
    return 0;
}
catch (const std::exception& error)
{
    std::cerr << "headers: " << error.what() << '\n';
    return 1;
}
