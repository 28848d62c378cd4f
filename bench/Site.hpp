// The place where a case is measured, our own peer or a real broker, and the library's client there. A client owns its
// connection and channel; the main thread uses them.
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

// The library's side of a case: a connection with a channel. The channel's notifier throws its errors.
struct Client
{
    explicit Client(const Site& site, int frameMax = 131072);

    std::shared_ptr<Amqp::Channel> NewChannel() const;

    // Waits until the broker or the peer has read everything that was written.
    void Sync() const;

    std::shared_ptr<Amqp::Connection> connection;
    std::shared_ptr<Amqp::Channel> channel;
};

} // namespace Bench
