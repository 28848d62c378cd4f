// Where the broker is, by the environment that scripts/broker sets, and names that are this run's own.
#pragma once

#include "Plan.hpp"

#include <amqp/Connection.hpp>

#include <chrono>
#include <memory>
#include <string>
#include <string_view>

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
