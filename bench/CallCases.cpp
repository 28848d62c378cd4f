// Cases in which the client waits for the other side: topology, connecting, and a message that fills its only frame.
// Each case owns its two clients; the main thread runs the cases.
#include "Cases.hpp"
#include "Pair.hpp"

#include <memory>

namespace Bench
{

namespace
{

void Topology(Amqp::Channel& channel)
{
    channel.DeclareQueue("bench.topology", false, true, true);
    channel.BindQueue("bench.topology", "amq.topic", "key");
    channel.UnbindQueue("bench.topology", "amq.topic", "key");
    channel.DestroyQueue("bench.topology", false, false);
}

void Topology(amqp_connection_state_t state)
{
    const amqp_bytes_t queue = ToBytes("bench.bare");
    const amqp_bytes_t exchange = ToBytes("amq.topic");
    const amqp_bytes_t key = ToBytes("key");
    if (amqp_queue_declare(state, 1, queue, 0, 0, 1, 1, amqp_empty_table) == nullptr ||
        amqp_queue_bind(state, 1, queue, exchange, key, amqp_empty_table) == nullptr ||
        amqp_queue_unbind(state, 1, queue, exchange, key, amqp_empty_table) == nullptr ||
        amqp_queue_delete(state, 1, queue, 0, 0) == nullptr)
    {
        throw std::runtime_error("rabbitmq-c alone: a call failed");
    }
    amqp_maybe_release_buffers(state);
}

Sides Calling(const Site& site)
{
    const auto pair = std::make_shared<Pair>(site);
    return {Repeat([pair] { Topology(*pair->library.channel); }), Repeat([pair] { Topology(pair->bare.State()); })};
}

Sides Connecting(const Site& site)
{
    return {Repeat([site] { const Client client(site); }), Repeat([site] { const BareClient bare(site.address); })};
}

// Publishes a message, and waits until the same message is delivered.
class RoundTrip
{
public:
    RoundTrip(const Site& site, int frameMax)
        : library(site, frameMax), bare(site.address, frameMax),
          message({static_cast<std::size_t>(frameMax) - 8, Dress::Plain}), isBroker(site.isBroker),
          queueOfLibrary(library.channel->DeclareQueue(false, true, true)), queueOfBare(bare.DeclareQueue())
    {
        library.channel->Subscribe(
            queueOfLibrary, [](const Amqp::Envelope&) { return Amqp::Ack; }, Amqp::Auto, false, false);
        bare.Subscribe(queueOfBare, true);
    }

    void WithLibrary()
    {
        library.channel->Publish(isBroker ? "" : "repeat", isBroker ? queueOfLibrary : "1", message.ForLibrary(), 0,
                                 {});
        library.connection->Run();
    }

    void WithBare()
    {
        Publish(bare, isBroker ? "" : "repeat", isBroker ? queueOfBare : "1", message);
        bare.ConsumeAll(1, false);
    }

private:
    Client library;
    BareClient bare;
    Message message;
    bool isBroker;
    std::string queueOfLibrary;
    std::string queueOfBare;
};

Sides ThereAndBack(const Site& site, int frameMax)
{
    const auto trip = std::make_shared<RoundTrip>(site, frameMax);
    return {Repeat([trip] { trip->WithLibrary(); }), Repeat([trip] { trip->WithBare(); })};
}

} // namespace

std::vector<Case> CallCases()
{
    return {{.group = "calls", .name = "declare, bind, unbind, delete", .target = {}, .prepare = Calling},
            {.group = "calls", .name = "connect and close", .target = {}, .prepare = Connecting}};
}

std::vector<Case> FullFrameCases()
{
    std::vector<Case> cases;
    for (const int frameMax : {4096, 131072})
    {
        cases.push_back({.group = "full frame",
                         .name = "there and back, frame_max " + std::to_string(frameMax),
                         .target = 0.5,
                         .prepare = [frameMax](const Site& site) { return ThereAndBack(site, frameMax); },
                         .count = 1,
                         .mostRounds = 9});
    }
    return cases;
}

} // namespace Bench
