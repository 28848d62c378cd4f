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

// Joining fails only on the listening thread itself. That cannot be survived: the thread would outlive the
// consumer it works for.
Consumer::~Consumer()
{
    // Ends the process at once. An error that left the destructor itself might destroy the members first, and the
    // channels would wait for a broker.
    const auto stop = [this]() noexcept { Stop(); };
    stop();
    // Members are destroyed from the last to the first: this one before the channels.
    onException = nullptr;
    // In the order in which they were opened, which a vector of its own keeps in some standard libraries only.
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
