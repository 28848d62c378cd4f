#include <amqp/Producer.hpp>

#include "values/Texts.hpp"

#include <fmt/format.h>

#include <utility>

namespace Amqp
{

std::atomic<int> Producer::requestIdentifier{0};

Producer::Producer(std::shared_ptr<Connection> shared, std::string_view exchange,
                   std::function<void(std::string_view)> logSink)
    : connection(std::move(shared)), exchangeName(exchange), log(std::move(logSink)),
      channel(std::make_shared<Channel>(connection, [this](ErrorCode&& error) { Log(error); }))
{
    channel->DeclareExchange(exchangeName, ExchangeType::Topic, /*durable*/ true, /*internal*/ false,
                             /*autoDelete*/ false);
}

Producer::~Producer() = default;

std::int32_t Producer::AddRequest(const Envelope& request)
{
    const std::int32_t id = requestIdentifier.fetch_add(1);
    requests[id] = request;
    return id;
}

bool Producer::GetRequest(std::int32_t id, Envelope& request)
{
    const auto found = requests.find(id);
    if (found == requests.end())
    {
        return false;
    }
    request = found->second;
    return true;
}

void Producer::RemoveRequest(std::int32_t id)
{
    requests.erase(id);
}

void Producer::Publish(const Envelope& message, std::string_view routingKey)
{
    if (log)
    {
        log(fmt::format(ownTexts.publishing, routingKey));
    }
    channel->Publish(exchangeName, routingKey, message, 0, {});
}

void Producer::Reply(const Envelope& message, std::string_view queue)
{
    if (log)
    {
        log(fmt::format(ownTexts.replying, queue, message.CorrelationId()));
    }
    channel->Publish("", queue, message, 0, {});
}

void Producer::Log(const ErrorCode& error) const
{
    if (log)
    {
        log(error.what());
    }
}

} // namespace Amqp
