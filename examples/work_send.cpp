// Puts tasks into a queue for work-worker.
//
//   work-send QUEUE TASK...     such as: work-send yard "weld hull" "paint mast"
#include "Connect.hpp"

#include <amqp/Amqp.hpp>

#include <iostream>

int main(int argc, char** argv)
try
{
    if (argc < 3)
    {
        throw std::runtime_error("usage: work-send QUEUE TASK...");
    }
    const auto connection = Connect("work-send");
    const auto channel = std::make_shared<Amqp::Channel>(connection, Amqp::Channel::OnErrorThrow);

    // Workers declare the queue likewise, so that either side may come first. A durable queue outlives the broker, and
    // so do its messages, which Publish makes persistent unless it is told otherwise.
    channel->DeclareQueue(argv[1], /*durable*/ true, /*exclusive*/ false, /*autoDelete*/ false);
    for (int i = 2; i < argc; ++i)
    {
        channel->Publish("", argv[1], argv[i], 0, {});
    }

    // A publish has been written to the socket when it returns, and there are no confirms. But the broker does things
    // in their order: when it replies to this, it has read and routed every message before.
    channel->DeclareQueue(argv[1]);
    std::cout << "sent " << argc - 2 << " tasks\n";
    return 0;
}
catch (const std::exception& error)
{
    std::cerr << "work-send: " << error.what() << '\n';
    return 1;
}
