// Connects to the broker that scripts/broker names in the environment, and names the queues of this run. A connection
// belongs to the thread of its caller.
#pragma once

#include "Plan.hpp"

#include <amqp/Connection.hpp>

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

// Names that no other run uses.
struct Names
{
    Names();

    const std::string& Of(Queue queue) const;

    std::string automatic, explicitly, series, nowhere;
};

constexpr int largestFrame = 131072; // what RabbitMQ offers
constexpr int smallestFrame = 4096;

std::shared_ptr<Amqp::Connection> Connect(std::string_view role, std::chrono::microseconds wait,
                                          int frameMax = largestFrame);
