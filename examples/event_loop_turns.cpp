// Runs a connection inside an application's own poll loop, on its thread: each turn of the loop handles what has come.
// The loop publishes on a timer of its own.
//
//   event-loop-turns [TURN]     at most so many milliseconds between two looks at the connection, 10 unless told
//
// The library shows no file descriptor, so poll cannot wait for the broker. That costs up to TURN of latency for each
// message, and a wakeup every TURN while nothing happens. In return there is one thread and nothing to lock: handlers
// touch whatever the loop touches, and a message is acknowledged when it has been dealt with. When that is too slow or
// too busy, or large messages would hold up the loop (Run waits for the rest of one that has begun to arrive), see
// event-loop-thread.
#include "Connect.hpp"
#include "Timer.hpp"

#include <amqp/Amqp.hpp>

#include <iostream>
#include <poll.h>

// Handles what has arrived, without waiting for more, and not more than a few messages, so that a flood of them leaves
// the loop time for the rest. True when there may be more.
static bool HandleArrived(const Amqp::Connection& connection)
{
    for (int i = 0; i < 100; ++i)
    {
        const std::optional<bool> event = connection.Run(std::chrono::microseconds(1)); // 0 would be without limit
        if (!event)
        {
            return false;
        }
        if (!*event)
        {
            throw std::runtime_error("the broker has closed the connection");
        }
    }
    return true;
}

int main(int argc, char** argv)
try
{
    const int turn = argc > 1 ? std::stoi(argv[1]) : 10;
    const auto connection = Connect("event-loop-turns");
    const auto channel = std::make_shared<Amqp::Channel>(connection, Amqp::Channel::OnErrorThrow);
    const std::string queue = channel->DeclareQueue(/*durable*/ false, /*exclusive*/ true, /*autoDelete*/ true);
    int received = 0;
    const auto onMessage = [&](const Amqp::Envelope& message)
    {
        std::cout << "received " << message.ViewBody(0, message.Size()) << std::endl;
        ++received;
        return Amqp::Ack;
    };
    channel->Subscribe(queue, onMessage, Amqp::Explicit, /*noLocal*/ false, /*exclusive*/ false);

    const Timer timer(std::chrono::milliseconds(100));
    pollfd sources[] = {{timer.Descriptor(), POLLIN, 0}}; // and the application's others
    std::uint64_t ticks = 0;
    bool more = false;
    while (received < 5)
    {
        poll(sources, std::size(sources), more ? 0 : turn);
        if (const std::uint64_t expired = timer.Expired(); expired > 0)
        {
            ticks += expired;
            std::cout << "sent tick " << ticks << std::endl;
            channel->Publish("", queue, "tick " + std::to_string(ticks), 0, {});
        }
        more = HandleArrived(*connection);
    }
    return 0;
}
catch (const std::exception& error)
{
    std::cerr << "event-loop-turns: " << error.what() << '\n';
    return 1;
}
