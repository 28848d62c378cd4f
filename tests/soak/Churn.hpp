// Opens and closes channels, and lets the broker refuse operations on some of them. Owns its connection, and makes a
// new one before the channel numbers run out. Belongs to the thread that calls Run.
#pragma once

#include "Broker.hpp"
#include "Gate.hpp"
#include "Ledger.hpp"

#include <amqp/Channel.hpp>

class Churn
{
public:
    Churn(Ledger& ledger, const Names& names);

    /// Works until the gate stops the workers.
    void Run(Gate& gate);

private:
    std::shared_ptr<Amqp::Channel> Open(std::function<void(Amqp::ErrorCode&&)> notifier);
    void BeRefused();
    void OpenAndClose();

    Ledger& ledger;
    const Names& names;
    std::shared_ptr<Amqp::Connection> connection;
};
