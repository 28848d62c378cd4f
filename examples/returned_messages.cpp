// Publishes messages that nobody gets: the broker sends them back, with a code that says why.
//
//   returned-messages
#include "Connect.hpp"

#include <amqp/Amqp.hpp>

#include <iostream>

// A returned message brings a code and no text; AMQP 0-9-1 has two codes for this.
static const char* Reason(std::uint16_t code)
{
    return code == 312 ? "NO_ROUTE" : code == 313 ? "NO_CONSUMERS" : "unknown";
}

int main()
try
{
    const auto connection = Connect("returned-messages");
    const auto channel = std::make_shared<Amqp::Channel>(connection, Amqp::Channel::OnErrorThrow);
    const std::string queue = channel->DeclareQueue(/*durable*/ false, /*exclusive*/ true, /*autoDelete*/ true);

    // Called from Run, with what was sent: it may be published once more, elsewhere or later.
    int returned = 0;
    const auto onReturn = [&](const Amqp::Envelope& message, const Amqp::AckStatus& status)
    {
        std::cout << "returned: \"" << message.ViewBody(0, message.Size()) << "\", sent to exchange \""
                  << status.exchange << "\" with key \"" << status.routingKey << "\": " << status.replyCode << ' '
                  << Reason(status.replyCode) << '\n';
        ++returned;
    };

    // With a callback a message is published as mandatory; without one the broker drops silently what nobody gets.
    channel->Publish("", "no-such-queue", "to a queue that is not there", 0, onReturn);
    channel->Publish("amq.topic", "nobody.listens", "to an exchange without a binding for it", 0, onReturn);
    channel->Publish("", "no-such-queue", "without a callback", 0, {});
    channel->Publish("", queue, "to a queue that is there", 0, onReturn);

    // No callback is not yet a confirmation. But the broker does things in their order: when it has replied to a call
    // on this channel, the messages before have been routed or sent back.
    channel->DeclareQueue(queue);
    // What came before the reply is handled now. The wait of a microsecond: only what is there (0 is without limit).
    while (connection->Run(std::chrono::microseconds(1)).value_or(false))
    {
    }
    std::cout << returned << " came back\n";
    return returned == 2 ? 0 : 1;
}
catch (const std::exception& error)
{
    std::cerr << "returned-messages: " << error.what() << '\n';
    return 1;
}
