// Answers requests: squares numbers. Several servers may share the queue; rpc-client asks.
//
//   rpc-server QUEUE [MILLISECONDS]     how long an answer takes; runs until it is killed
#include "Connect.hpp"

#include <amqp/Amqp.hpp>

#include <charconv>
#include <iostream>
#include <thread>

// The answer to a request, or why there is none.
static std::string Square(std::string_view text)
{
    std::int64_t number = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool whole = error == std::errc() && rest == text.data() + text.size();
    return whole && number > -1'000'000 && number < 1'000'000 ? std::to_string(number * number) : "not a small number";
}

int main(int argc, char** argv)
try
{
    if (argc < 2)
    {
        throw std::runtime_error("usage: rpc-server QUEUE [MILLISECONDS]");
    }
    const std::chrono::milliseconds pause(argc > 2 ? std::stoi(argv[2]) : 0);
    const auto connection = Connect("rpc-server");
    const auto channel = std::make_shared<Amqp::Channel>(connection, Amqp::Channel::OnErrorThrow);

    const auto onRequest = [&](const Amqp::Envelope& request)
    {
        std::this_thread::sleep_for(pause);
        // The client says where it waits, and by what it will know the answer.
        const std::string text = Square(request.ViewBody(0, request.Size()));
        Amqp::Envelope answer(text, Amqp::MetaData::NonPersistent);
        answer.CorrelationId(request.CorrelationId());
        channel->Publish("", request.ReplyTo(), answer, 0, {}); // dropped by the broker if the client has gone
        // Acknowledged only now: when a server dies before, another one gets the request, so a client may get an answer
        // twice.
        return Amqp::Ack;
    };
    // The queue goes with the last server, and what nobody has answered with it.
    channel->DeclareQueue(argv[1], /*durable*/ false, /*exclusive*/ false, /*autoDelete*/ true);
    channel->Subscribe(argv[1], onRequest, Amqp::Explicit, /*noLocal*/ false, /*exclusive*/ false);
    std::cout << "ready" << std::endl;
    while (connection->Run().value_or(true))
    {
    }
    throw std::runtime_error("the broker has closed the connection");
}
catch (const std::exception& error)
{
    std::cerr << "rpc-server: " << error.what() << '\n';
    return 1;
}
