#include "Session.hpp"

#include "Fuzz.hpp"

#include <chrono>
#include <stdexcept>
#include <utility>
#include <variant>
#include <vector>

namespace Fuzz
{

namespace
{

using namespace std::chrono_literals;

// Reads every byte, so that the sanitizer finds a view of freed memory.
void Look(const Amqp::Envelope& envelope)
{
    unsigned sum = 0;
    for (const std::string_view text :
         {envelope.ViewBody(0, envelope.Size()), envelope.ContentType(), envelope.MessageId(), envelope.ReplyTo()})
    {
        for (const char character : text)
        {
            sum += static_cast<unsigned char>(character);
        }
    }
    for (const auto& [key, value] : envelope.Headers().Entries())
    {
        sum += static_cast<unsigned>(key.size() + value.index());
    }
    volatile unsigned seen = sum;
    static_cast<void>(seen);
}

} // namespace

std::shared_ptr<Amqp::Connection> Connect(std::uint16_t port, const std::string& user, const std::string& password)
{
    return std::make_shared<Amqp::Connection>("127.0.0.1", port, user, password, "/", Amqp::Table(), 1s, 0s, frameMax);
}

Listening::Listening(std::shared_ptr<Amqp::Connection> owner, const std::string& first, const std::string& second)
    : connection(std::move(owner)), explicitly(std::make_shared<Amqp::Channel>(connection, [](Amqp::ErrorCode&&) {})),
      automatic(std::make_shared<Amqp::Channel>(connection, [this](Amqp::ErrorCode&&) { automatic.reset(); }))
{
    const auto handler = [this](const Amqp::Envelope& envelope) { return Handle(envelope); };
    tag = explicitly->Subscribe(first, handler, Amqp::Explicit, false, false);
    automatic->Subscribe(second, handler, Amqp::Auto, false, false);
    for (int i = 0; i < 4; ++i)
    {
        PublishUnroutable();
    }
}

void Listening::PublishUnroutable()
{
    explicitly->Publish("", "nowhere", "unroutable", 0,
                        [this](const Amqp::Envelope& envelope, const Amqp::AckStatus& status)
                        {
                            ++returned;
                            Look(envelope);
                            if (status.routingKey == "again" && returned < 100)
                            {
                                PublishUnroutable();
                            }
                        });
}

// The first letter of the body selects the verdict, or what the handler does before it acknowledges.
Amqp::Acknowledge Listening::Handle(const Amqp::Envelope& envelope)
{
    ++delivered;
    Look(envelope);
    switch (envelope.Size() == 0 ? '\0' : envelope.ViewBody(0, 1).front())
    {
    case 'n':
        return Amqp::Nack;
    case 'r':
        return Amqp::Requeue;
    case 'u':
        explicitly->Unsubscribe(tag);
        break;
    case 'd':
        automatic.reset();
        break;
    case 'p':
        PublishUnroutable();
        break;
    case 'q':
        explicitly->DeclareQueue(false, true, true);
        break;
    case 'x':
        explicitly->Publish("no such exchange", "", "closes the channel", 0, {});
        break;
    case 's':
        connection->Stop();
        break;
    case 't':
        throw std::domain_error("the handler's own");
    default:
        break;
    }
    Look(envelope); // whatever the handler did, the envelope must still be valid
    return Amqp::Ack;
}

bool Listening::Step()
{
    try
    {
        return connection->Run().value_or(false);
    }
    catch (const Amqp::ErrorCode& error)
    {
        return error.category == Amqp::ErrorCode::Server; // an unexpected method, which drops only its channel
    }
    catch (const std::logic_error&)
    {
        return true; // a returned message with a bad number, or the handler's own exception
    }
    catch (const std::bad_variant_access&)
    {
        return true; // a part with a bad hash
    }
}

void Listening::Run(std::size_t steps, const std::function<void()>& eachStep)
{
    for (std::size_t i = 0; Step(); ++i)
    {
        eachStep();
        Require(i < steps, "the run loop comes to an end when the stream does");
    }
    // Whatever ended the loop, the application may still use the connection wrongly, and destroy it.
    Step();
    eachStep();
    const std::vector<std::function<void()>> uses = {
        [this] { PublishUnroutable(); }, [this] { explicitly->DeclareQueue("q"); },
        [this] { explicitly->Unsubscribe(tag); }, [this] { automatic.reset(); }, [this] { Step(); }};
    for (const auto& use : uses)
    {
        try
        {
            use();
        }
        catch (const Amqp::ErrorCode&)
        {
            eachStep();
        }
    }
    eachStep();
}

void CallAll(const std::shared_ptr<Amqp::Connection>& connection, const Names& names,
             const std::function<void()>& eachCall)
{
    bool closed = true;
    std::shared_ptr<Amqp::Channel> channel;
    std::string queue = names.queue;
    const auto ignore = [](const Amqp::Envelope&) { return Amqp::Ack; };
    const std::vector<std::function<void()>> calls = {
        [&]
        {
            const std::string named = channel->DeclareQueue(false, true, false);
            queue = queue.empty() ? named : queue;
        },
        [&] { channel->DeclareExchange(names.exchange, Amqp::Fanout, false, false, false); },
        [&] { channel->DeclareExchange(names.exchange); },
        [&] { channel->DeclareQueue(queue); },
        [&] { channel->BindQueue(queue, names.source, "key"); },
        [&] { channel->BindExchange(names.exchange, names.source, "key"); },
        [&] { channel->Subscribe(queue, ignore, Amqp::Explicit, false, false); },
        [&] { channel->Publish(names.source, "key", "body", 2, {}); },
        [&] { channel->PurgeQueue(queue); },
        [&] { channel->Unsubscribe(std::to_string(channel->Token()) + "/1"); },
        [&] { channel->UnbindQueue(queue, names.source, "key"); },
        [&] { channel->UnbindExchange(names.exchange, names.source, "key"); },
        [&] { channel->DestroyQueue(queue, false, false); },
        [&] { channel->DestroyExchange(names.exchange, false); },
        [&] { channel.reset(); }};
    for (const auto& call : calls)
    {
        try
        {
            if (closed || !channel)
            {
                closed = false;
                channel = std::make_shared<Amqp::Channel>(connection, [&](Amqp::ErrorCode&&) { closed = true; });
            }
            call();
        }
        catch (const Amqp::ErrorCode&)
        {
            closed = true; // make the remaining calls anyway, as a careless application would
        }
        eachCall();
    }
}

} // namespace Fuzz
