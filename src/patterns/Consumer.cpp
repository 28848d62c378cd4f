#include <amqp/Consumer.hpp>

#include "values/Texts.hpp"

#include <fmt/format.h>

#include <stdexcept>
#include <utility>

namespace Amqp
{

Consumer::Consumer(std::shared_ptr<Connection> shared, std::string_view exchange,
                   std::function<void(std::string_view)> logSink, std::string_view prefix,
                   std::function<void(const std::exception&)> exceptionSink)
    : connection(std::move(shared)), exchangeName(exchange), log(std::move(logSink)), queuePrefix(prefix),
      onException(std::move(exceptionSink))
{
}

// Joining the listening thread fails only if the destructor runs on that thread. The process must then end: otherwise
// the thread would go on to use the destroyed consumer.
Consumer::~Consumer()
{
    // An exception that leaves this noexcept lambda ends the process at once. An exception that left the destructor
    // itself might destroy the members first, and the channels would then wait for the broker.
    const auto stop = [this]() noexcept { Stop(); };
    stop();
    // Release the exception sink before the channels: C++ would destroy the members in this order, too.
    onException = nullptr;
    // Close the channels in the order in which they were opened. Not every standard library's vector destroys its
    // elements in this order.
    for (std::shared_ptr<Channel>& channel : channels)
    {
        channel.reset();
    }
}

void Consumer::Bind(std::string_view name, std::function<Acknowledge(const Envelope&)> handler, bool serverNamed)
{
    Log(fmt::format(ownTexts.binding, name));
    const auto channel = std::make_shared<Channel>(connection, [this](ErrorCode&& error) { Log(error.what()); });
    channels.push_back(channel);
    channel->DeclareExchange(exchangeName, ExchangeType::Topic, /*durable*/ true, /*internal*/ false,
                             /*autoDelete*/ false);
    std::string queue;
    if (serverNamed)
    {
        queue = channel->DeclareQueue(/*durable*/ true, /*exclusive*/ false, /*autoDelete*/ true);
    }
    else
    {
        queue = queuePrefix + std::string(name);
        channel->DeclareQueue(queue, /*durable*/ true, /*exclusive*/ false, /*autoDelete*/ true);
    }
    channel->BindQueue(queue, exchangeName, name);
    channel->Subscribe(queue, std::move(handler), AcknowledgeMode::Auto, /*noLocal*/ true, /*exclusive*/ false);
}

void Consumer::MainBindingDone()
{
    Start();
}

void Consumer::Start()
{
    if (!connection)
    {
        throw std::runtime_error(ownTexts.listeningOnNullConnection);
    }
    listener = std::thread([this] { Listen(); });
}

void Consumer::Stop()
{
    if (!listener.joinable())
    {
        return;
    }
    Log(ownTexts.stopListening);
    connection->Stop();
    listener.join();
}

void Consumer::Listen()
{
    try
    {
        Log(ownTexts.listening);
        while (connection->Run().value_or(true))
        {
        }
    }
    catch (const std::exception& exception)
    {
        Log(fmt::format(ownTexts.listeningFailed, exception.what()));
        if (onException)
        {
            onException(exception);
        }
    }
}

void Consumer::Log(std::string_view line) const
{
    if (log)
    {
        log(line);
    }
}

} // namespace Amqp
