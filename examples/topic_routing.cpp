// Sends messages to a topic exchange and shows which of them each pattern gets. Routing keys are words with dots
// between them; in a pattern * stands for one word and # for any number of words, none included.
//
//   topic-routing
#include "Connect.hpp"

#include <amqp/Amqp.hpp>

#include <iostream>
#include <map>
#include <set>

int main()
try
{
    const auto connection = Connect("topic-routing");
    const auto channel = std::make_shared<Amqp::Channel>(connection, Amqp::Channel::OnErrorThrow);

    // A name of its own, as others may run this program, too; it goes with its last binding.
    const std::string exchange = "examples.topic." + Amqp::Guid::ToString(Amqp::Guid::New());
    channel->DeclareExchange(exchange, Amqp::Topic, /*durable*/ false, /*internal*/ false, /*autoDelete*/ true);

    std::map<std::string, std::set<std::string>> patternsOf; // by routing key
    int finished = 0;
    const std::vector<std::string> patterns = {"*.error", "kernel.#", "#"};
    for (const std::string& pattern : patterns)
    {
        // An envelope does not carry the routing key of its delivery: each handler knows its own pattern, and what else
        // it has to know travels in the message, here the key as its body.
        const auto onMessage = [&, pattern](const Amqp::Envelope& message)
        {
            const std::string text(message.ViewBody(0, message.Size()));
            if (message.Type() == "end")
            {
                ++finished;
            }
            else
            {
                patternsOf[text].insert(pattern);
            }
            return Amqp::Ack;
        };
        const std::string queue = channel->DeclareQueue(/*durable*/ false, /*exclusive*/ true, /*autoDelete*/ true);
        channel->BindQueue(queue, exchange, pattern);
        channel->BindQueue(queue, exchange, "end"); // a queue may have several bindings, and still gets a message once
        channel->Subscribe(queue, onMessage, Amqp::Explicit, /*noLocal*/ false, /*exclusive*/ true);
    }

    for (const char* const key : {"kernel", "kernel.error", "kernel.disk.error", "mail.error", "mail.delivered"})
    {
        channel->Publish(exchange, key, key, 0, {});
    }
    // What one channel publishes arrives in every queue in its order, so that nothing comes after this.
    Amqp::Envelope end;
    end.Type("end");
    channel->Publish(exchange, "end", end, 0, {});
    RunUntil(*connection, [&] { return finished == static_cast<int>(patterns.size()); });

    for (const auto& [key, matching] : patternsOf)
    {
        std::cout << key << " ->";
        for (const std::string& pattern : matching)
        {
            std::cout << ' ' << pattern;
        }
        std::cout << '\n';
    }
    return 0;
}
catch (const std::exception& error)
{
    std::cerr << "topic-routing: " << error.what() << '\n';
    return 1;
}
