// Where a case is measured: the peer of our own, or a real broker. Plain values.
#pragma once

#include <amqp/Amqp.hpp>

#include <memory>

#include "support/BrokerAddress.hpp"

namespace Bench
{

struct Site
{
    BrokerAddress address;
    bool isBroker;
};

// The library's side of a case: a connection with a channel, whose errors are thrown.
struct Client
{
    explicit Client(const Site& site, int frameMax = 131072);

    std::shared_ptr<Amqp::Channel> NewChannel() const;

    // Waits until the other side has taken everything that was written.
    void Sync() const;

    std::shared_ptr<Amqp::Connection> connection;
    std::shared_ptr<Amqp::Channel> channel;
};

} // namespace Bench
