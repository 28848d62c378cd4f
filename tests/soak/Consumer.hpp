// The receiving side: one connection, driven by the thread that calls Run. Checks each delivery against its digest and
// the ledger, and answers as the plan says.
#pragma once

#include "Broker.hpp"
#include "Gate.hpp"
#include "Ledger.hpp"

#include <amqp/Channel.hpp>

class Consumer
{
public:
    /// Declares the queues and subscribes to them, for whoever publishes later.
    Consumer(Ledger& ledger, const Names& names);

    /// Until the gate stops it; then looks for messages that were never acknowledged.
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
