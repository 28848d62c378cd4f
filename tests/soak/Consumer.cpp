#include "Consumer.hpp"

#include <amqp/Hash.hpp>

#include <array>
#include <stdexcept>
#include <variant>

namespace
{

using namespace std::chrono_literals;

constexpr std::array<Queue, 3> queues{Queue::Auto, Queue::Explicit, Queue::Series};
constexpr std::string_view fence = "fence";
constexpr std::chrono::seconds leftoverLimit(30);

// Returns the digest of the body in the headers. The publisher has put the digest there, or for a series the library.
std::string_view StatedDigest(const Amqp::Envelope& envelope, Queue queue)
{
    const auto& entries = envelope.Headers().Entries();
    const auto found = entries.find(queue == Queue::Series ? "x-vnd.zorat.multipart.hash" : "sha256");
    const auto* const text = found == entries.end() ? nullptr : std::get_if<std::string>(&found->second);
    return text == nullptr ? std::string_view() : std::string_view(*text);
}

} // namespace

Consumer::Consumer(Ledger& book, const Names& allNames)
    : ledger(book), names(allNames), connection(Connect("consumer", 100ms)),
      channel(std::make_shared<Amqp::Channel>(connection, Amqp::Channel::OnErrorThrow))
{
    for (const Queue queue : queues)
    {
        channel->DeclareQueue(names.Of(queue), /*durable*/ false, /*exclusive*/ true, /*autoDelete*/ false);
    }
    Open();
}

void Consumer::Open()
{
    for (const Queue queue : queues)
    {
        channel->Subscribe(
            names.Of(queue), [this, queue](const Amqp::Envelope& envelope) { return Take(envelope, queue); },
            queue == Queue::Auto ? Amqp::Auto : Amqp::Explicit, /*noLocal*/ false, /*exclusive*/ true);
    }
}

void Consumer::Run(Gate& gate)
{
    while (!gate.Stopping())
    {
        if (connection->Run() == false)
        {
            throw std::runtime_error("the broker closed the consumer's connection");
        }
    }
    // After a failed run, leave the figures alone: the broker would redeliver messages that are open, and the handler
    // would close them now.
    if (ledger.Snapshot().Open() == 0)
    {
        LookForLeftovers();
    }
}

// When the channel closes, the broker requeues the deliveries that were never settled, and delivers them again before
// the last message of each queue. The ledger has closed their messages, so they count as doubled.
void Consumer::LookForLeftovers()
{
    channel.reset();
    channel = std::make_shared<Amqp::Channel>(connection, Amqp::Channel::OnErrorThrow);
    Amqp::Envelope last(fence, Amqp::MetaData::NonPersistent);
    last.CorrelationId(fence);
    for (const Queue queue : queues)
    {
        channel->Publish("", names.Of(queue), last, 0, {});
    }
    Open();

    const auto end = std::chrono::steady_clock::now() + leftoverLimit;
    while (fences < static_cast<int>(queues.size()))
    {
        if (connection->Run() == false || std::chrono::steady_clock::now() > end)
        {
            throw std::runtime_error("the last message of a queue did not come");
        }
    }
}

Amqp::Acknowledge Consumer::Take(const Amqp::Envelope& envelope, Queue queue)
{
    if (envelope.CorrelationId() == fence)
    {
        ++fences;
        return Amqp::Ack;
    }
    const auto number = ParseNumber(envelope.CorrelationId());
    if (!number)
    {
        ledger.Wrong("a delivery has no number");
        return Amqp::Ack;
    }
    return Judge(*number, envelope, queue);
}

Amqp::Acknowledge Consumer::Judge(std::uint64_t number, const Amqp::Envelope& envelope, Queue queue)
{
    const Digest digest = Amqp::Hash::Sha<256>(envelope.ViewBody(0, envelope.Size()));
    if (StatedDigest(envelope, queue) != Hex(digest))
    {
        ledger.Wrong("message " + std::to_string(number) + " does not have the digest it states");
    }
    const Message message = PlanOf(number);
    if (message.queue != queue)
    {
        ledger.Wrong("message " + std::to_string(number) + " came to another handler");
    }
    if (message.requeues > 0 && ledger.PutBack(number, message.requeues))
    {
        return Amqp::Requeue;
    }
    ledger.Close(number, End::Received, digest);
    return message.nack ? Amqp::Nack : Amqp::Ack;
}
