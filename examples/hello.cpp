// The smallest program that sends a message and receives it.
//
//   hello [TEXT]
#include "Connect.hpp"

#include <amqp/Amqp.hpp>

#include <iostream>

int main(int argc, char** argv)
try
{
    // Everything is done through a channel; this one throws what the broker refuses.
    const auto connection = Connect("hello");
    const auto channel = std::make_shared<Amqp::Channel>(connection, Amqp::Channel::OnErrorThrow);

    // A queue that the broker names, that only this connection sees, and that goes with it.
    const std::string queue = channel->DeclareQueue(/*durable*/ false, /*exclusive*/ true, /*autoDelete*/ true);

    bool received = false;
    const auto onMessage = [&](const Amqp::Envelope& message)
    {
        // The body is a view of the bytes as they arrived: copy what is to outlive this call.
        std::cout << "received: " << message.ViewBody(0, message.Size()) << '\n';
        received = true;
        return Amqp::Ack;
    };
    channel->Subscribe(queue, onMessage, Amqp::Explicit, /*noLocal*/ false, /*exclusive*/ false);

    // The exchange without a name takes a message to the queue that the routing key names.
    channel->Publish(/*exchange*/ "", queue, argc > 1 ? argv[1] : "hello", /*partSize*/ 0, /*callback*/ {});

    // Nothing is handled behind your back: handlers are called from Run, one message a call.
    RunUntil(*connection, [&] { return received; });
    return 0;
}
catch (const std::exception& error)
{
    std::cerr << "hello: " << error.what() << '\n';
    return 1;
}
