// The receiving side. Checks each delivery against its digest and the ledger, and returns the verdict of the plan. Owns
// its connection and channel. Belongs to the thread that calls Run.
#pragma once

#include "Broker.hpp"
#include "Gate.hpp"
#include "Ledger.hpp"

#include <amqp/Channel.hpp>

class Consumer
{
public:
    /// Declares the queues and subscribes to them. Nothing may be published before.
    Consumer(Ledger& ledger, const Names& names);

    /// Receives until the gate stops the workers. Then looks for messages that were never settled.
    void Run(Gate& gate);

private:
    void Open();
    void LookForLeftovers();
    Amqp::Acknowledge Take(const Amqp::Envelope& envelope, Queue queue);
    Amqp::Acknowledge Judge(std::uint64_t number, const Amqp::Envelope& envelope, Queue queue);

    Ledger& ledger;
    const Names& names;
    int fences = 0;
    std::shared_ptr<Amqp::Connection> connection;
    std::shared_ptr<Amqp::Channel> channel;
};
