// The library's side of a wire test: a connection to the scripted broker, and channels that note their errors. The
// includes and names that every wire test needs.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <amqp/Amqp.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/ScriptedBroker.hpp"

// clang-format off
using namespace Wire;
// clang-format on
using namespace std::chrono_literals;

// Long enough for a scripted broker under a sanitizer; a step that has something to do never waits for it.
inline constexpr std::chrono::microseconds consumeWait = 5s;

inline const std::string tooLong(256, 'k'); // for a name or a key: a message with it cannot be sent

inline std::shared_ptr<Amqp::Connection> Connect(const ScriptedBroker& broker, const Amqp::Table& properties = {},
                                                 std::chrono::microseconds timeout = consumeWait, int frameMax = 131072)
{
    return std::make_shared<Amqp::Connection>("127.0.0.1", broker.Port(), "guest", "guest", "/", properties, timeout,
                                              0s, frameMax);
}

// What a channel's error notifier was told.
struct Noted
{
    std::vector<Amqp::ErrorCode> errors;

    auto Notifier()
    {
        return [this](Amqp::ErrorCode&& error) { errors.push_back(std::move(error)); };
    }
};

// A channel whose errors fail the test.
inline std::shared_ptr<Amqp::Channel> OpenChannel(const std::shared_ptr<Amqp::Connection>& connection)
{
    return std::make_shared<Amqp::Channel>(connection, &Amqp::Channel::OnErrorThrow);
}

MATCHER_P3(IsError, category, code, text, "")
{
    *result_listener << "category " << arg.category << ", code " << arg.code << ", text \"" << arg.what() << "\"";
    return arg.category == category && arg.code == code && std::string(arg.what()) == text;
}

// What the notifier of a channel is told when the run loop finds that the broker has closed the channel.
inline auto IsCloseRequest()
{
    return IsError(Amqp::ErrorCode::ChannelClosed, 0, "Broker requested channel close");
}

// What the use of a channel throws after that.
inline auto IsUseOfAClosedChannel()
{
    return IsError(Amqp::ErrorCode::ChannelClosed, 504, "Channel is closed");
}

// Runs `action` and gives the ErrorCode that it throws; fails the test and gives no error when it throws none.
template <typename Action>
Amqp::ErrorCode ErrorOf(Action&& action)
{
    try
    {
        action();
    }
    catch (const Amqp::ErrorCode& error)
    {
        return error;
    }
    ADD_FAILURE() << "no ErrorCode was thrown";
    return {};
}

// A handler for deliveries that do not matter.
inline Amqp::Acknowledge Ignore(const Amqp::Envelope&)
{
    return Amqp::Ack;
}
