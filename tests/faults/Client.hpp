// The application of one case: one connection, and a record of everything that it sees of the library, as text. Used by
// one thread.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <amqp/Amqp.hpp>

namespace Faults
{

class Client
{
public:
    Client(std::uint16_t port, std::chrono::seconds heartbeat, int frameMax);

    void Connect();
    void OpenChannel();
    // Both note that the call returns, and what it gives, or what it throws.
    void Ask(const std::function<std::string()>& action);
    void Call(const std::function<void()>& action);

    // Steps of the run loop until so many messages have come, or until it cannot go on.
    void RunUntil(std::size_t messages);
    void Step();
    void RepeatUntilTold(const std::function<void()>& publish);

    Amqp::DeliveryHandler Handler(Amqp::Acknowledge verdict = Amqp::Ack);
    Amqp::PublishCallback Callback();

    void Destroy();

    Amqp::Channel& First() { return *channels.front(); }
    Amqp::Channel& Last() { return *channels.back(); }
    bool HasChannel() const { return !channels.empty(); }
    bool Connected() const { return connection != nullptr; }
    void CloseChannels(); // in the order in which they were opened
    const std::string& Seen() const { return seen; }
    void Note(const std::string& text);

private:
    template <typename Action>
    void Guard(Action&& action);

    std::uint16_t port;
    std::chrono::seconds heartbeat;
    int frameMax;
    std::string seen;
    std::size_t messages = 0;
    bool stopped = false;
    std::shared_ptr<Amqp::Connection> connection;
    std::vector<std::shared_ptr<Amqp::Channel>> channels;
};

// An error as the record has it.
std::string Describe(Amqp::ErrorCode::Categories category, unsigned code, const std::string& text);

// One more text of a record.
void Append(std::string& record, const std::string& text, const char* separator = "; ");

} // namespace Faults
