// One table of the operations that await a reply on a channel, for the tests of what they send and of what they do when
// the broker refuses.
#pragma once

#include <functional>
#include <ostream>
#include <string>

#include "Client.hpp"

struct Operation
{
    std::string name;
    std::function<void(Amqp::Channel&)> call;
    std::function<void(Dialogue&)> expect; // on channel 1
    std::function<void(Dialogue&)> answer;
};

inline void PrintTo(const Operation& operation, std::ostream* out)
{
    *out << operation.name;
}

template <typename Request, typename Answer>
Operation Case(std::string name, std::function<void(Amqp::Channel&)> call, Request request, Answer answer)
{
    return {std::move(name), std::move(call), [=](Dialogue& peer) { peer.Expect(1, request); },
            [=](Dialogue& peer) { peer.Send(1, answer); }};
}

inline Operation ExchangeCase(std::string name, std::function<void(Amqp::Channel&)> call, ExchangeDeclare request)
{
    return Case(std::move(name), std::move(call), std::move(request), ExchangeDeclareOk{});
}

inline Operation QueueCase(std::string name, std::function<void(Amqp::Channel&)> call, QueueDeclare request)
{
    return Case(std::move(name), std::move(call), std::move(request), QueueDeclareOk{.queue = "q"});
}

// Each operation once.
inline std::vector<Operation> EachOperation()
{
    using Amqp::Channel;
    return {
        ExchangeCase("PassiveDeclareExchange", [](Channel& c) { c.DeclareExchange("e"); },
                     {.exchange = "e", .type = "", .passive = true}),
        ExchangeCase("DeclareExchange", [](Channel& c) { c.DeclareExchange("e", Amqp::Topic, false, false, false); },
                     {.exchange = "e", .type = "topic"}),
        QueueCase("DeclareUnnamedQueue", [](Channel& c) { c.DeclareQueue(false, false, false); }, {}),
        QueueCase("PassiveDeclareQueue", [](Channel& c) { c.DeclareQueue("q"); }, {.queue = "q", .passive = true}),
        QueueCase("DeclareQueue", [](Channel& c) { c.DeclareQueue("q", false, false, false); }, {.queue = "q"}),
        Case(
            "BindExchange", [](Channel& c) { c.BindExchange("to", "from", "key"); },
            ExchangeBind{.destination = "to", .source = "from", .routingKey = "key"}, ExchangeBindOk{}),
        Case(
            "UnbindExchange", [](Channel& c) { c.UnbindExchange("to", "from", "key"); },
            ExchangeUnbind{.destination = "to", .source = "from", .routingKey = "key"}, ExchangeUnbindOk{}),
        Case(
            "BindQueue", [](Channel& c) { c.BindQueue("q", "e", "key"); },
            QueueBind{.queue = "q", .exchange = "e", .routingKey = "key"}, QueueBindOk{}),
        Case(
            "UnbindQueue", [](Channel& c) { c.UnbindQueue("q", "e", "key"); },
            QueueUnbind{.queue = "q", .exchange = "e", .routingKey = "key"}, QueueUnbindOk{}),
        Case(
            "DestroyExchange", [](Channel& c) { c.DestroyExchange("e", false); }, ExchangeDelete{.exchange = "e"},
            ExchangeDeleteOk{}),
        Case(
            "DestroyQueue", [](Channel& c) { c.DestroyQueue("q", false, false); }, QueueDelete{.queue = "q"},
            QueueDeleteOk{}),
        Case(
            "PurgeQueue", [](Channel& c) { c.PurgeQueue("q"); }, QueuePurge{.queue = "q"}, QueuePurgeOk{}),
    };
}

inline const auto nameOfOperation = [](const auto& instance) { return instance.param.name; };
