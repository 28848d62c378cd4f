// Channels that come and go, some of them refused by the broker, on a connection of their own that is made anew before
// its numbers run out. Driven by the thread that calls Run.
#pragma once

#include "Broker.hpp"
#include "Gate.hpp"
#include "Ledger.hpp"

#include <amqp/Channel.hpp>

class Churn
{
public:
    Churn(Ledger& ledger, const Names& names);

    /// Until the gate stops it.
    void Run(Gate& gate);

private:
    std::shared_ptr<Amqp::Channel> Open(std::function<void(Amqp::ErrorCode&&)> notifier);
    void BeRefused();
    void OpenAndClose();

    Ledger& ledger;
    const Names& names;
    std::shared_ptr<Amqp::Connection> connection;
};
