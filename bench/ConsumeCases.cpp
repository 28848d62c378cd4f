// Cases that handle one delivery after the other. The peer sends as many deliveries as it is asked for. A broker sends
// the messages of a queue that was filled before. The main thread runs the cases.
#include "Cases.hpp"
#include "Pair.hpp"

#include <memory>

namespace Bench
{

namespace
{

class Consuming
{
public:
    Consuming(const Site& site, const Kind& kind, Amqp::AcknowledgeMode acknowledge)
        : pair(site, kind), mode(acknowledge),
          filler(site.isBroker ? std::make_unique<BareClient>(site.address) : nullptr),
          queueOfLibrary(pair.library.channel->DeclareQueue(false, true, true)), queueOfBare(pair.bare.DeclareQueue())
    {
    }

    // Subscribes so many consumers: all on the first channel, or each on a channel of its own.
    void Subscribe(std::size_t consumers, bool onOwnChannels)
    {
        for (std::size_t i = 0; i < consumers; ++i)
        {
            const bool another = onOwnChannels && i != 0;
            if (another)
            {
                channels.push_back(pair.library.NewChannel());
                pair.bare.OpenChannel(static_cast<std::uint16_t>(i + 1));
            }
            Amqp::Channel& channel = another ? *channels.back() : *pair.library.channel;
            channel.Subscribe(
                queueOfLibrary, [this](const Amqp::Envelope& message) { return Take(message); }, mode, false, false);
            pair.bare.Subscribe(queueOfBare, mode == Amqp::Auto, static_cast<std::uint16_t>(another ? i + 1 : 1));
        }
    }

    void FillLibrary(std::size_t count) { Fill(queueOfLibrary, count); }
    void FillBare(std::size_t count) { Fill(queueOfBare, count); }

    void ConsumeWithLibrary(std::size_t count)
    {
        if (!filler)
        {
            pair.library.channel->Publish("repeat", std::to_string(count), pair.message.ForLibrary(), 0, {});
        }
        for (received = 0; received < count;)
        {
            pair.library.connection->Run();
        }
    }

    void ConsumeWithBare(std::size_t count)
    {
        if (!filler)
        {
            Publish(pair.bare, "repeat", std::to_string(count), pair.message);
        }
        pair.bare.ConsumeAll(count, mode == Amqp::Explicit);
    }

private:
    Amqp::Acknowledge Take(const Amqp::Envelope& /*message*/)
    {
        ++received;
        return Amqp::Ack;
    }

    void Fill(const std::string& queue, std::size_t count)
    {
        for (std::size_t i = 0; filler && i < count; ++i)
        {
            Publish(*filler, "", queue, pair.message);
        }
        if (filler)
        {
            filler->Sync();
        }
    }

    Pair pair;
    Amqp::AcknowledgeMode mode;
    std::unique_ptr<BareClient> filler; // fills the queues of a broker; null with the peer
    std::string queueOfLibrary;
    std::string queueOfBare;
    std::vector<std::shared_ptr<Amqp::Channel>> channels;
    std::size_t received = 0;
};

Sides SidesOf(const std::shared_ptr<Consuming>& consuming)
{
    return {{[consuming](std::size_t count) { consuming->ConsumeWithLibrary(count); },
             [consuming](std::size_t count) { consuming->FillLibrary(count); }},
            {[consuming](std::size_t count) { consuming->ConsumeWithBare(count); },
             [consuming](std::size_t count) { consuming->FillBare(count); }}};
}

Sides ConsumeOn(const Site& site, const Kind& kind, Amqp::AcknowledgeMode mode, std::size_t consumers,
                bool onOwnChannels)
{
    const auto consuming = std::make_shared<Consuming>(site, kind, mode);
    consuming->Subscribe(consumers, onOwnChannels);
    return SidesOf(consuming);
}

// Both sides are the library's: the first has many consumers, the second has one.
Sides ManyBesideOne(const Site& site, const Kind& kind, std::size_t many, bool onOwnChannels)
{
    const auto busy = std::make_shared<Consuming>(site, kind, Amqp::Auto);
    busy->Subscribe(many, onOwnChannels);
    const auto plain = std::make_shared<Consuming>(site, kind, Amqp::Auto);
    plain->Subscribe(1, false);
    return {SidesOf(busy).library, SidesOf(plain).library};
}

constexpr double targetOfSmall = 1.5;

double TargetOf(const Kind& kind, Amqp::AcknowledgeMode mode)
{
    constexpr std::size_t middle = 4096;
    if (kind.size >= middle)
    {
        return kind.size == middle ? 1.0 : 0.97;
    }
    if (kind.dress == Dress::Rich)
    {
        return 1.4;
    }
    return mode == Amqp::Auto ? targetOfSmall : 3.0;
}

// Only where the broker leaves something to be gained: acknowledgements that share a segment.
std::optional<double> TargetOnBroker(const Kind& kind, Amqp::AcknowledgeMode mode)
{
    const bool judged = kind.size == 100 && kind.dress == Dress::Plain && mode == Amqp::Explicit;
    return judged ? std::optional(1.2) : std::nullopt;
}

} // namespace

std::vector<Case> ConsumeCases()
{
    std::vector<Case> cases;
    for (const Kind& kind : AllKinds())
    {
        for (const Amqp::AcknowledgeMode mode : {Amqp::Auto, Amqp::Explicit})
        {
            cases.push_back(
                {.group = "consume",
                 .name = kind.Name() + (mode == Amqp::Auto ? ", Auto" : ", Explicit"),
                 .target = TargetOf(kind, mode),
                 .targetOnBroker = TargetOnBroker(kind, mode),
                 .prepare = [kind, mode](const Site& site) { return ConsumeOn(site, kind, mode, 1, false); },
                 .manySettings = kind.IsLarge()});
        }
    }
    return cases;
}

std::vector<Case> NumberCases()
{
    // Finding one of many consumers or channels must not make a delivery slower.
    constexpr std::size_t manyConsumers = 10000;
    constexpr std::size_t manyChannels = 200;
    constexpr Kind kind{100, Dress::Plain};
    std::vector<Case> cases;
    const auto add = [&cases, kind](const char* group, std::size_t number, bool onOwnChannels)
    {
        const auto prepare = [number, onOwnChannels, kind](const Site& site)
        { return ConsumeOn(site, kind, Amqp::Auto, number, onOwnChannels); };
        cases.push_back({.group = group,
                         .name = std::to_string(number),
                         .target = targetOfSmall,
                         .prepare = prepare,
                         .longOnBroker = true});
    };
    for (const std::size_t number : {std::size_t{1}, std::size_t{100}, manyConsumers})
    {
        add("consumers", number, false);
    }
    for (const std::size_t number : {std::size_t{1}, std::size_t{20}, manyChannels})
    {
        add("channels", number, true);
    }
    const auto compare = [&cases, kind](const char* group, std::size_t many, bool onOwnChannels)
    {
        cases.push_back({.group = group,
                         .name = std::to_string(many) + ", beside the library with one",
                         .target = 1.0,
                         .prepare = [=](const Site& site) { return ManyBesideOne(site, kind, many, onOwnChannels); },
                         .longOnBroker = true});
    };
    compare("consumers", manyConsumers, false);
    compare("channels", manyChannels, true);
    return cases;
}

} // namespace Bench
