// Forwards each operation to the connection; Multipart.cpp has Publish. An error notifier may destroy the channel, and
// with the channel the last reference to the connection. So Hold keeps the connection alive until the operation
// returns.
#include <amqp/Channel.hpp>

#include "connection/Multipart.hpp"
#include "values/Texts.hpp"

#include <stdexcept>
#include <utility>

namespace Amqp
{

namespace
{

using Notifier = std::function<void(ErrorCode&&)>;

// Returns the notifier of a channel that was moved from, which is empty.
const Notifier& NoNotifier()
{
    static const Notifier none;
    return none;
}

} // namespace

Channel::Channel(std::shared_ptr<Amqp::Connection> owner, std::function<void(ErrorCode&&)> notifier)
    : connection(std::move(owner)), errorNotifier(std::make_shared<Notifier>(std::move(notifier)))
{
    if (!connection)
    {
        throw std::runtime_error(ownTexts.channelOnNullConnection);
    }
    if (!*errorNotifier)
    {
        throw std::runtime_error(ownTexts.nullNotifier);
    }
    connection->RegisterChannel(*this);
}

Channel::Channel(Channel&& other)
    // No std::shared_ptr owns the new channel yet, so its base starts empty.
    // NOLINTNEXTLINE(readability-redundant-member-init)
    : std::enable_shared_from_this<Channel>(), connection(std::move(other.connection)),
      errorNotifier(std::move(other.errorNotifier)), token(other.token), tagCounter(other.tagCounter)
{
}

Channel::~Channel()
{
    if (connection) // a channel that was moved from has no connection
    {
        connection->UnregisterChannel(*this);
    }
}

std::weak_ptr<Amqp::Connection> Channel::Connection()
{
    return connection;
}

const std::function<void(ErrorCode&&)>& Channel::ErrorNotifier() const
{
    return errorNotifier ? *errorNotifier : NoNotifier();
}

std::shared_ptr<const std::function<void(ErrorCode&&)>> Channel::HoldNotifier() const
{
    if (errorNotifier)
    {
        return errorNotifier;
    }
    return {std::shared_ptr<void>(), &NoNotifier()}; // points to a static object, which needs no owner
}

unsigned short Channel::Token() const
{
    return token;
}

void Channel::Token(unsigned short number)
{
    token = number;
}

void Channel::OnErrorThrow(ErrorCode&& error)
{
    throw ErrorCode(std::move(error));
}

std::string Channel::GenerateTag()
{
    return std::to_string(token) + '/' + std::to_string(++tagCounter);
}

std::weak_ptr<void> Channel::Watch()
{
    if (!alive)
    {
        alive = std::make_shared<char>();
    }
    return alive;
}

std::shared_ptr<Amqp::Connection> Channel::Hold() const
{
    Require();
    return connection;
}

// Returns the connection without keeping it alive. Use Require only for operations that do not touch the connection
// after they have called a notifier.
Amqp::Connection& Channel::Require() const
{
    if (!connection)
    {
        throw std::runtime_error(ownTexts.movedFromChannel);
    }
    return *connection;
}

void Channel::DeclareExchange(std::string_view name)
{
    Hold()->DeclareExchange(*this, name);
}

void Channel::DeclareExchange(std::string_view name, ExchangeType type, bool durable, bool internal, bool autoDelete)
{
    Hold()->DeclareExchange(*this, name, type, durable, internal, autoDelete);
}

std::string Channel::DeclareQueue(bool durable, bool exclusive, bool autoDelete)
{
    return Hold()->DeclareQueue(*this, durable, exclusive, autoDelete);
}

void Channel::DeclareQueue(std::string_view name)
{
    Hold()->DeclareQueue(*this, name);
}

void Channel::DeclareQueue(std::string_view name, bool durable, bool exclusive, bool autoDelete)
{
    Hold()->DeclareQueue(*this, name, durable, exclusive, autoDelete);
}

void Channel::BindExchange(std::string_view destination, std::string_view source, std::string_view routingKey)
{
    Hold()->BindExchange(*this, destination, source, routingKey);
}

void Channel::UnbindExchange(std::string_view destination, std::string_view source, std::string_view routingKey)
{
    Hold()->UnbindExchange(*this, destination, source, routingKey);
}

void Channel::BindQueue(std::string_view queue, std::string_view exchange, std::string_view routingKey)
{
    Hold()->BindQueue(*this, queue, exchange, routingKey);
}

void Channel::UnbindQueue(std::string_view queue, std::string_view exchange, std::string_view routingKey)
{
    Hold()->UnbindQueue(*this, queue, exchange, routingKey);
}

void Channel::DestroyExchange(std::string_view name, bool ifUnused)
{
    Hold()->DestroyExchange(*this, name, ifUnused);
}

void Channel::DestroyQueue(std::string_view name, bool ifEmpty, bool ifUnused)
{
    Hold()->DestroyQueue(*this, name, ifEmpty, ifUnused);
}

void Channel::PurgeQueue(std::string_view name)
{
    Hold()->PurgeQueue(*this, name);
}

std::string Channel::Subscribe(std::string_view queue, DeliveryHandler handler, AcknowledgeMode mode, bool noLocal,
                               bool exclusive)
{
    std::string consumerTag = GenerateTag();
    Hold()->Subscribe(*this, consumerTag, std::move(handler), queue, mode, noLocal, exclusive);
    return consumerTag;
}

void Channel::SubscribeRpc(std::string_view consumerTag, std::string_view queue, DeliveryHandler handler,
                           AcknowledgeMode mode, bool noLocal, bool exclusive)
{
    Hold()->Subscribe(*this, consumerTag, std::move(handler), queue, mode, noLocal, exclusive);
}

void Channel::Unsubscribe(std::string_view consumerTag)
{
    Hold()->Unsubscribe(*this, consumerTag);
}

} // namespace Amqp
