// Does the tasks of a queue that it shares with other workers. A task is a skill and an object, such as "weld hull".
// Shows the three verdicts that a handler may give.
//
//   work-worker QUEUE SKILL     runs until it is killed
//
// The broker keeps a task until it has been answered. When a worker dies, others get what it had not answered, and that
// includes the task it was at, which may have been done already: every task is done at least once, not exactly once.
//
// The broker hands the tasks to the workers in turn as they come in, whether a worker is busy or not: the library sets
// no limit on how many are on their way to one (there is no basic.qos). The first worker to come gets all that wait.
#include "Connect.hpp"

#include <amqp/Amqp.hpp>

#include <iostream>
#include <thread>

int main(int argc, char** argv)
try
{
    using namespace std::chrono_literals;
    if (argc != 3)
    {
        throw std::runtime_error("usage: work-worker QUEUE SKILL");
    }
    const std::string skill = argv[2];
    const auto connection = Connect("work-worker");
    const auto channel = std::make_shared<Amqp::Channel>(connection, Amqp::Channel::OnErrorThrow);
    channel->DeclareQueue(argv[1], /*durable*/ true, /*exclusive*/ false, /*autoDelete*/ false);

    const auto onTask = [&](const Amqp::Envelope& message)
    {
        const std::string task(message.ViewBody(0, message.Size()));
        const auto space = task.find(' ');
        if (space == std::string::npos)
        {
            // Nobody can do it: the broker drops it, or puts it into the dead-letter exchange of the queue's policy.
            std::cout << "nack " << task << std::endl;
            return Amqp::Nack;
        }
        if (task.substr(0, space) != skill)
        {
            // Back into the queue, for whoever is next in turn, perhaps this worker again. Without the pause, a task
            // that no worker can do would go round as fast as the broker can, and so it does for ever.
            std::cout << "requeue " << task << std::endl;
            std::this_thread::sleep_for(20ms);
            return Amqp::Requeue;
        }
        // Not longer than two heartbeat intervals: heartbeats are sent from Run, which waits for this.
        std::cout << "begin " << task << std::endl;
        std::this_thread::sleep_for(300ms);
        std::cout << "done " << task << std::endl;
        return Amqp::Ack;
    };
    channel->Subscribe(argv[1], onTask, Amqp::Explicit, /*noLocal*/ false, /*exclusive*/ false);
    std::cout << "ready" << std::endl;

    // Nothing after a wait without an event, true after one with.
    while (connection->Run().value_or(true))
    {
    }
    throw std::runtime_error("the broker has closed the connection");
}
catch (const std::exception& error)
{
    std::cerr << "work-worker: " << error.what() << '\n';
    return 1;
}
