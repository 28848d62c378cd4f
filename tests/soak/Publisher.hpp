// The sending side. Publishes the messages of the plan while the ledger has room, and checks the messages that the
// broker returns. Owns its connection and channel. Belongs to the thread that calls Run.
#pragma once

#include "Broker.hpp"
#include "Gate.hpp"
#include "Ledger.hpp"

#include <amqp/Channel.hpp>

class Publisher
{
public:
    Publisher(Ledger& ledger, const Names& names);

    /// Publishes until the gate stops the workers.
    void Run(Gate& gate);

private:
    void PublishNext();
    void TakeReturns();
    void AwaitEmpty(const Gate& gate);
    void Returned(const Amqp::Envelope& envelope, const Amqp::AckStatus& status);

    Ledger& ledger;
    const Names& names;
    Bodies bodies;
    std::uint64_t next = 1;
    std::uint64_t kept = 0;
    std::shared_ptr<Amqp::Connection> connection;
    std::shared_ptr<Amqp::Channel> channel;
};
