// The sending side: one connection, driven by the thread that calls Run. Publishes what the plan says, as long as the
// ledger has room, and takes what the broker sends back.
#pragma once

#include "Broker.hpp"
#include "Gate.hpp"
#include "Ledger.hpp"

#include <amqp/Channel.hpp>

class Publisher
{
public:
    Publisher(Ledger& ledger, const Names& names);

    /// Until the gate stops it.
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
