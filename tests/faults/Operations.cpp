// Logging in, and the calls that await one answer on a channel.
#include "Operation.hpp"

#include <utility>

namespace Faults
{

using namespace Wire;

namespace
{

constexpr std::uint16_t firstChannel = 1;

Frame Method(std::uint16_t channel, std::string payload)
{
    return {methodFrame, channel, std::move(payload)};
}

void PlayStart(Dialogue& peer)
{
    peer.ExpectProtocolHeader();
    peer.Send(0, ConnectionStart{.serverProperties = DefaultServerProperties()});
}

void PlayTune(Dialogue& peer, std::uint16_t heartbeat)
{
    peer.Receive<ConnectionStartOk>(0);
    peer.Send(0, ConnectionTune{.heartbeat = heartbeat});
}

void PlayOpen(Dialogue& peer)
{
    peer.Receive<ConnectionTuneOk>(0);
    peer.Expect(0, ConnectionOpen{});
}

Operation HandshakeStep(const std::string& name, Awaiting awaiting, std::string answer)
{
    Operation step;
    step.name = name;
    step.channel = 0;
    step.answer = {{Method(0, std::move(answer)), awaiting}};
    step.setUp = [](Client&) {};
    step.act = [](Client& client) { client.Call([&] { client.Connect(); }); };
    step.goodbye = "0:connection.close";
    return step;
}

template <typename Request, typename Answer>
Operation CallStep(const std::string& name, std::function<void(Amqp::Channel&)> call, Request request, Answer answer)
{
    Operation step;
    step.name = name;
    step.prepare = PlayChannel;
    step.request = [request](Dialogue& peer) { peer.Expect(firstChannel, request); };
    step.answer = {{Method(firstChannel, Encode(answer)), Awaiting::Reply, "returns"}};
    step.setUp = [](Client& client)
    {
        client.Connect();
        client.OpenChannel();
    };
    step.act = [call](Client& client) { client.Call([&] { call(client.First()); }); };
    step.refused = "returns";
    return step;
}

void AddExchangeCalls(std::vector<Operation>& all)
{
    using Amqp::Channel;
    all.push_back(CallStep(
        "FindExchange", [](Channel& c) { c.DeclareExchange("e"); },
        ExchangeDeclare{.exchange = "e", .type = "", .passive = true}, ExchangeDeclareOk{}));
    all.push_back(CallStep(
        "DeclareExchange", [](Channel& c) { c.DeclareExchange("e", Amqp::Topic, false, false, false); },
        ExchangeDeclare{.exchange = "e", .type = "topic"}, ExchangeDeclareOk{}));
    all.push_back(CallStep(
        "BindExchange", [](Channel& c) { c.BindExchange("to", "from", "key"); },
        ExchangeBind{.destination = "to", .source = "from", .routingKey = "key"}, ExchangeBindOk{}));
    all.push_back(CallStep(
        "UnbindExchange", [](Channel& c) { c.UnbindExchange("to", "from", "key"); },
        ExchangeUnbind{.destination = "to", .source = "from", .routingKey = "key"}, ExchangeUnbindOk{}));
    all.push_back(CallStep(
        "DestroyExchange", [](Channel& c) { c.DestroyExchange("e", false); }, ExchangeDelete{.exchange = "e"},
        ExchangeDeleteOk{}));
}

void AddQueueCalls(std::vector<Operation>& all)
{
    using Amqp::Channel;
    const QueueDeclareOk declared{.queue = "name", .messageCount = 1, .consumerCount = 2};
    Operation unnamed = CallStep("DeclareUnnamedQueue", {}, QueueDeclare{}, declared);
    unnamed.act = [](Client& client)
    { client.Ask([&]() -> std::string { return client.First().DeclareQueue(false, false, false); }); };
    unnamed.answer.front().seen = "gives name";
    unnamed.refused = "gives ";
    all.push_back(unnamed);
    all.push_back(CallStep(
        "FindQueue", [](Channel& c) { c.DeclareQueue("q"); }, QueueDeclare{.queue = "q", .passive = true}, declared));
    all.push_back(CallStep(
        "DeclareQueue", [](Channel& c) { c.DeclareQueue("q", false, false, false); }, QueueDeclare{.queue = "q"},
        declared));
    all.push_back(CallStep(
        "BindQueue", [](Channel& c) { c.BindQueue("q", "e", "key"); },
        QueueBind{.queue = "q", .exchange = "e", .routingKey = "key"}, QueueBindOk{}));
    all.push_back(CallStep(
        "UnbindQueue", [](Channel& c) { c.UnbindQueue("q", "e", "key"); },
        QueueUnbind{.queue = "q", .exchange = "e", .routingKey = "key"}, QueueUnbindOk{}));
    all.push_back(CallStep(
        "DestroyQueue", [](Channel& c) { c.DestroyQueue("q", false, false); }, QueueDelete{.queue = "q"},
        QueueDeleteOk{.messageCount = 3}));
    all.push_back(CallStep(
        "PurgeQueue", [](Channel& c) { c.PurgeQueue("q"); }, QueuePurge{.queue = "q"},
        QueuePurgeOk{.messageCount = 3}));
}

void AddConsumerCalls(std::vector<Operation>& all)
{
    Operation subscribe = CallStep("Subscribe", {}, BasicConsume{.queue = "q", .consumerTag = "1/1"},
                                   BasicConsumeOk{.consumerTag = "1/1"});
    subscribe.act = [](Client& client)
    {
        client.Ask([&]() -> std::string
                   { return client.First().Subscribe("q", client.Handler(), Amqp::Explicit, false, false); });
    };
    subscribe.answer.front().seen = subscribe.refused = "gives 1/1";
    all.push_back(subscribe);

    Operation rpc = CallStep("SubscribeRpc", {}, BasicConsume{.queue = "q", .consumerTag = "tag"},
                             BasicConsumeOk{.consumerTag = "tag"});
    rpc.act = [](Client& client)
    { client.Call([&] { client.First().SubscribeRpc("tag", "q", client.Handler(), Amqp::Explicit, false, false); }); };
    all.push_back(rpc);

    Operation unsubscribe = CallStep(
        "Unsubscribe", [](Amqp::Channel& c) { c.Unsubscribe("1/1"); }, BasicCancel{.consumerTag = "1/1"},
        BasicCancelOk{.consumerTag = "1/1"});
    unsubscribe.prepare = [](Dialogue& peer, std::uint16_t heartbeat)
    {
        PlayChannel(peer, heartbeat);
        PlayConsumer(peer, false);
    };
    unsubscribe.setUp = [](Client& client)
    {
        client.Connect();
        client.OpenChannel();
        client.First().Subscribe("q", client.Handler(), Amqp::Explicit, false, false);
    };
    all.push_back(unsubscribe);
}

} // namespace

void PlayLogin(Dialogue& peer, std::uint16_t heartbeat, int frameMax)
{
    LoginScript login;
    login.heartbeat = heartbeat;
    login.frameMax = static_cast<std::uint32_t>(frameMax);
    peer.Login(login);
}

void PlayChannel(Dialogue& peer, std::uint16_t heartbeat)
{
    PlayLogin(peer, heartbeat);
    peer.OpenChannel(firstChannel);
}

void PlayConsumer(Dialogue& peer, bool noAck)
{
    peer.Expect(firstChannel, BasicConsume{.queue = "q", .consumerTag = "1/1", .noAck = noAck});
    peer.Send(firstChannel, BasicConsumeOk{.consumerTag = "1/1"});
}

void AddHandshake(std::vector<Operation>& all)
{
    Operation start = HandshakeStep("LoginStart", Awaiting::Start,
                                    Encode(ConnectionStart{.serverProperties = DefaultServerProperties()}));
    start.prepare = [](Dialogue& peer, std::uint16_t) { peer.ExpectProtocolHeader(); };
    start.request = [](Dialogue&) {};
    start.proceed = [](Dialogue& peer)
    {
        PlayTune(peer, 0);
        PlayOpen(peer);
        peer.Send(0, ConnectionOpenOk{});
    };
    all.push_back(start);

    Operation tune = HandshakeStep("LoginTune", Awaiting::Tune, Encode(ConnectionTune{}));
    tune.prepare = [](Dialogue& peer, std::uint16_t) { PlayStart(peer); };
    tune.request = [](Dialogue& peer) { peer.Receive<ConnectionStartOk>(0); };
    tune.proceed = [](Dialogue& peer)
    {
        PlayOpen(peer);
        peer.Send(0, ConnectionOpenOk{});
    };
    all.push_back(tune);

    Operation open = HandshakeStep("LoginOpen", Awaiting::Open, Encode(ConnectionOpenOk{}));
    open.prepare = [](Dialogue& peer, std::uint16_t heartbeat)
    {
        PlayStart(peer);
        PlayTune(peer, heartbeat);
    };
    open.request = PlayOpen;
    all.push_back(open);

    // The connection stands once open-ok is there.
    for (Operation& step : all)
    {
        step.answer.back().seen = "returns";
    }
}

void AddCalls(std::vector<Operation>& all)
{
    Operation open = CallStep("OpenChannel", {}, ChannelOpen{}, ChannelOpenOk{});
    open.prepare = [](Dialogue& peer, std::uint16_t heartbeat) { PlayLogin(peer, heartbeat); };
    open.setUp = [](Client& client) { client.Connect(); };
    open.act = [](Client& client) { client.Call([&] { client.OpenChannel(); }); };
    all.push_back(open);

    AddExchangeCalls(all);
    AddQueueCalls(all);
    AddConsumerCalls(all);
}

std::vector<Operation> AllOperations()
{
    std::vector<Operation> all;
    AddHandshake(all);
    AddCalls(all);
    AddPublishes(all);
    AddDeliveries(all);
    AddCloses(all);
    return all;
}

} // namespace Faults
