// Runs a connection on a thread of its own, which hands what arrives over to an application's poll loop by an eventfd.
//
//   event-loop-thread
//
// The loop wakes when there is something and sleeps when there is nothing, which event-loop-turns cannot do. In return
// bodies are copied, there is a lock, a message is acknowledged when it has been handed over and not yet dealt with,
// and the loop publishes on another connection, as one belongs to one thread.
#include "Connect.hpp"
#include "Inbox.hpp"
#include "Timer.hpp"

#include <amqp/Amqp.hpp>

#include <iostream>
#include <poll.h>
#include <thread>

// Ends when it is told to, after one wait of the connection at the latest. What goes wrong is thrown in the loop.
static void Listen(const std::stop_token& stop, const Amqp::Connection& connection, Inbox& inbox)
try
{
    while (!stop.stop_requested())
    {
        if (!connection.Run().value_or(true))
        {
            throw std::runtime_error("the broker has closed the connection");
        }
    }
}
catch (...)
{
    inbox.Put([error = std::current_exception()] { std::rethrow_exception(error); });
}

int main()
try
{
    Inbox inbox;
    std::uint64_t ticks = 0; // this and the next are touched by the loop alone
    int received = 0;
    const auto onMessage = [&](const Amqp::Envelope& message)
    {
        inbox.Put(
            [&received, text = std::string(message.ViewBody(0, message.Size()))]
            {
                std::cout << "received " << text << std::endl;
                ++received;
            });
        return Amqp::Ack;
    };
    const auto incoming = Connect("event-loop-thread in");
    const auto in = std::make_shared<Amqp::Channel>(incoming, Amqp::Channel::OnErrorThrow);
    const std::string queue = in->DeclareQueue(/*durable*/ false, /*exclusive*/ false, /*autoDelete*/ true);
    in->Subscribe(queue, onMessage, Amqp::Explicit, /*noLocal*/ false, /*exclusive*/ true);
    const auto outgoing = Connect("event-loop-thread out");
    const auto out = std::make_shared<Amqp::Channel>(outgoing, Amqp::Channel::OnErrorThrow);
    const Timer timer(std::chrono::milliseconds(100));
    const std::jthread listener([&](const std::stop_token& stop) { Listen(stop, *incoming, inbox); });
    pollfd sources[] = {{inbox.event, POLLIN, 0}, {timer.Descriptor(), POLLIN, 0}};
    while (received < 5)
    {
        poll(sources, std::size(sources), /*without limit*/ -1);
        if (const std::uint64_t expired = timer.Expired(); expired > 0)
        {
            ticks += expired;
            std::cout << "sent tick " << ticks << std::endl;
            out->Publish("", queue, "tick " + std::to_string(ticks), 0, {});
            outgoing->Run(std::chrono::microseconds(1)); // to hear of errors
        }
        inbox.DoAll();
    }
    return 0;
}
catch (const std::exception& error)
{
    std::cerr << "event-loop-thread: " << error.what() << '\n';
    return 1;
}
