#include "Publisher.hpp"

#include <amqp/Hash.hpp>

#include <stdexcept>

namespace
{

using namespace std::chrono_literals;

// The most callbacks of routed messages. The connection keeps them until it is destroyed. All are registered during the
// warm-up. Later ones would be scattered over the heap, and each would keep a page resident whose other blocks are
// freed.
constexpr std::uint64_t mostKept = 1000;
// The number of messages that are published before the publisher looks for returned messages.
constexpr unsigned burst = 64;
constexpr std::uint16_t noRoute = 312;

} // namespace

Publisher::Publisher(Ledger& book, const Names& queues)
    : ledger(book), names(queues), connection(Connect("publisher", 10ms)),
      channel(std::make_shared<Amqp::Channel>(connection, Amqp::Channel::OnErrorThrow))
{
}

void Publisher::Run(Gate& gate)
{
    while (!gate.Stopping())
    {
        if (gate.RestWanted())
        {
            AwaitEmpty(gate);
            gate.Rest();
            continue;
        }
        if (!ledger.HasRoom() && connection->Run() == false)
        {
            throw std::runtime_error("the broker closed the publisher's connection");
        }
        for (unsigned count = 0; count < burst && ledger.HasRoom(); ++count)
        {
            PublishNext();
        }
        TakeReturns();
    }
}

void Publisher::PublishNext()
{
    const Message message = PlanOf(next);
    const std::string_view body = bodies.Make(next, message.size);
    const Digest digest = Amqp::Hash::Sha<256>(body);
    Amqp::Envelope envelope(body, Amqp::MetaData::NonPersistent);
    envelope.CorrelationId(std::to_string(next));
    if (message.partSize == 0)
    {
        // The library itself puts the digest into the headers of a series.
        envelope.Headers().Insert("sha256", Hex(digest));
    }

    Amqp::PublishCallback callback;
    const bool keep = message.callback && kept < mostKept;
    if (message.queue == Queue::Nowhere || keep)
    {
        callback = [this](const Amqp::Envelope& returned, const Amqp::AckStatus& status)
        { Returned(returned, status); };
    }
    // Open the message first: the consumer may receive it before Publish returns.
    if (ledger.Open(digest) != next)
    {
        throw std::logic_error("publisher and ledger count differently");
    }
    channel->Publish("", names.Of(message.queue), envelope, message.partSize, callback);
    if (keep)
    {
        ++kept;
        ledger.Count(&Counts::kept);
    }
    ++next;
}

void Publisher::TakeReturns()
{
    std::optional<bool> more = true;
    while (more == true)
    {
        more = connection->Run(1us);
    }
    if (more == false)
    {
        throw std::runtime_error("the broker closed the publisher's connection");
    }
}

void Publisher::AwaitEmpty(const Gate& gate)
{
    while (ledger.Snapshot().Open() > 0 && !gate.Stopping())
    {
        if (connection->Run() == false)
        {
            throw std::runtime_error("the broker closed the publisher's connection");
        }
    }
}

void Publisher::Returned(const Amqp::Envelope& envelope, const Amqp::AckStatus& status)
{
    const auto number = ParseNumber(envelope.CorrelationId());
    if (!number)
    {
        ledger.Wrong("a returned message has no number");
        return;
    }
    if (status.replyCode != noRoute || !status.exchange.empty() || status.routingKey != names.nowhere)
    {
        ledger.Wrong("message " + std::to_string(*number) + " came back with a wrong status");
    }
    ledger.Close(*number, End::Returned, Amqp::Hash::Sha<256>(envelope.ViewBody(0, envelope.Size())));
}
