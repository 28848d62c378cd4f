// Cases that publish one message after the other, to where the messages are dropped. The main thread runs the cases.
#include "Cases.hpp"
#include "Pair.hpp"

#include <amqp/Batch.hpp>

#include <map>
#include <memory>

namespace Bench
{

namespace
{

Side BarePublishing(const std::shared_ptr<Pair>& pair)
{
    return Repeat([pair] { Bench::Publish(pair->bare, pair->exchange, pair->key, pair->message); },
                  [pair] { pair->bare.Sync(); });
}

Sides Publishing(const Site& site, const Kind& kind)
{
    const auto pair = std::make_shared<Pair>(site, kind);
    return {Repeat([pair]
                   { pair->library.channel->Publish(pair->exchange, pair->key, pair->message.ForLibrary(), 0, {}); },
                   [pair] { pair->library.Sync(); }),
            BarePublishing(pair)};
}

void Ignore(const Amqp::Envelope& /*message*/, const Amqp::AckStatus& /*status*/) {}

// Does on rabbitmq-c alone what the library does for callbacks: a number is the message id, and finds the callback of a
// returned message.
class Numbered
{
public:
    explicit Numbered(std::shared_ptr<Pair> owner) : pair(std::move(owner)) {}

    void Publish()
    {
        const std::string id = std::to_string(++sequence);
        RawMessage message(pair->message);
        message.properties._flags |= AMQP_BASIC_MESSAGE_ID_FLAG;
        message.properties.message_id = ToBytes(id);
        pair->bare.Publish(pair->exchange, pair->key, message.properties, message.body, true);
        pending.emplace(sequence, Ignore);
    }

private:
    std::shared_ptr<Pair> pair;
    std::uint64_t sequence = 0;
    std::map<std::uint64_t, Amqp::PublishCallback> pending;
};

Sides PublishingWithCallback(const Site& site, const Kind& kind, std::size_t pending = 0)
{
    const auto pair = std::make_shared<Pair>(site, kind);
    pair->RouteSomewhere();
    Sides sides{
        Repeat([pair]
               { pair->library.channel->Publish(pair->exchange, pair->key, pair->message.ForLibrary(), 0, Ignore); },
               [pair] { pair->library.Sync(); }),
        Repeat([numbered = std::make_shared<Numbered>(pair)] { numbered->Publish(); }, [pair] { pair->bare.Sync(); })};
    sides.library.run(pending);
    sides.bare.run(pending);
    return sides;
}

// Compares batches of a hundred messages with a loop on rabbitmq-c alone, which has no batch.
Sides PublishingInBatches(const Site& site, const Kind& kind)
{
    const auto pair = std::make_shared<Pair>(site, kind);
    const auto publish = [pair](std::size_t count)
    {
        constexpr std::size_t together = 100;
        for (std::size_t done = 0; done < count; done += together)
        {
            const Amqp::Batch batch(*pair->library.channel);
            for (std::size_t i = done; i < count && i < done + together; ++i)
            {
                pair->library.channel->Publish(pair->exchange, pair->key, pair->message.ForLibrary(), 0, {});
            }
        }
    };
    return {{publish, {}, [pair] { pair->library.Sync(); }}, BarePublishing(pair)};
}

} // namespace

std::vector<Case> PublishCases()
{
    constexpr double targetOfSmall = 1.3;
    std::vector<Case> cases;
    for (const Kind& kind : AllKinds())
    {
        const double target = kind.size > 4096 ? 0.97 : targetOfSmall;
        cases.push_back({.group = "publish",
                         .name = kind.Name(),
                         .target = target,
                         .prepare = [kind](const Site& site) { return Publishing(site, kind); },
                         .manySettings = kind.IsLarge()});
        if (kind.dress == Dress::Plain)
        {
            cases.push_back({.group = "publish",
                             .name = kind.Name() + ", callback",
                             .target = target,
                             .prepare = [kind](const Site& site) { return PublishingWithCallback(site, kind); },
                             .manySettings = kind.IsLarge()});
        }
    }
    constexpr std::size_t pending = 100'000;
    cases.push_back({.group = "publish",
                     .name = "100 B, callback, " + std::to_string(pending) + " more waiting",
                     .target = targetOfSmall,
                     .prepare =
                         [](const Site& site) {
                             return PublishingWithCallback(site, {100, Dress::Plain}, pending);
                         },
                     .longOnBroker = true});
    return cases;
}

std::vector<Case> BatchCases()
{
    constexpr double target = 5;
    std::vector<Case> cases;
    for (const Kind& kind : AllKinds())
    {
        const bool judged = kind.size == 100 && kind.dress == Dress::Plain;
        cases.push_back({.group = "batch",
                         .name = kind.Name(),
                         .target = judged ? std::optional(target) : std::nullopt,
                         .prepare = [kind](const Site& site) { return PublishingInBatches(site, kind); },
                         .manySettings = kind.IsLarge()});
    }
    return cases;
}

} // namespace Bench
