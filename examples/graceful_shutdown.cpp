// Ends well when it is told to by SIGTERM or SIGINT: the message in work is finished and acknowledged, and what has not
// been begun goes back to the queue, for the next run.
//
//   graceful-shutdown QUEUE [COUNT]     puts COUNT messages into the queue first; runs until a signal ends it
#include "Connect.hpp"

#include <amqp/Amqp.hpp>

#include <atomic>
#include <csignal>
#include <iostream>
#include <thread>

// A signal handler may do little more than set a flag. Connection::Stop is not for signal handlers: it is for other
// threads, and would have to find the connection. Run waits on when a signal arrives, so the flag is seen when a
// message has been handled, or after one wait of the connection (see Connect.hpp): choose that accordingly.
static std::atomic<bool> stopping = false;
static_assert(std::atomic<bool>::is_always_lock_free);

extern "C" void OnSignal(int /*signal*/)
{
    stopping = true;
}

int main(int argc, char** argv)
try
{
    if (argc < 2)
    {
        throw std::runtime_error("usage: graceful-shutdown QUEUE [COUNT]");
    }
    std::signal(SIGTERM, OnSignal);
    std::signal(SIGINT, OnSignal);
    const auto connection = Connect("graceful-shutdown");
    const auto channel = std::make_shared<Amqp::Channel>(connection, Amqp::Channel::OnErrorThrow);
    channel->DeclareQueue(argv[1], /*durable*/ true, /*exclusive*/ false, /*autoDelete*/ false);
    const int count = argc > 2 ? std::stoi(argv[2]) : 0;
    for (int i = 1; i <= count; ++i)
    {
        channel->Publish("", argv[1], "message " + std::to_string(i), 0, {});
    }

    int handled = 0;
    const auto onMessage = [&](const Amqp::Envelope& message)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(2)); // the work
        std::cout << message.ViewBody(0, message.Size()) << std::endl;
        ++handled;
        return Amqp::Ack; // sent before Run returns
    };
    channel->Subscribe(argv[1], onMessage, Amqp::Explicit, /*noLocal*/ false, /*exclusive*/ false);
    while (!stopping)
    {
        if (!connection->Run().value_or(true))
        {
            throw std::runtime_error("the broker has closed the connection");
        }
    }
    std::cout << "stopped after " << handled << " messages" << std::endl;
    return 0; // closes the channel and the connection: what was on its way here is the broker's again
}
catch (const std::exception& error)
{
    std::cerr << "graceful-shutdown: " << error.what() << '\n';
    return 1;
}
