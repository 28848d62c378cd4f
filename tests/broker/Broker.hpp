// Tests with a real RabbitMQ: where it is, what it says of itself, names that no other test uses, and waits that end.
// The environment says which broker; scripts/broker sets it.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include <amqp/Amqp.hpp>

#include "wire/Client.hpp"

// Long enough for a busy machine: only a test that fails waits for it.
inline constexpr std::chrono::seconds longestWait = 15s;

// How a connection differs from the ordinary one.
struct Login
{
    std::optional<std::string> user{};
    std::optional<std::string> password{};
    std::optional<std::string> virtualHost{};
    Amqp::Table properties{};
    std::chrono::microseconds wait = 100ms;
    std::chrono::seconds heartbeat = 0s;
    std::optional<unsigned short> port{};
};

// What a queue holds.
struct Messages
{
    int ready;
    int unacknowledged;

    bool operator==(const Messages&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const Messages& messages)
    {
        return out << messages.ready << " ready, " << messages.unacknowledged << " unacknowledged";
    }
};

inline constexpr Messages nothing{.ready = 0, .unacknowledged = 0};

class Broker : public testing::Test
{
public:
    static constexpr int frameMax = 131072; // the most that RabbitMQ accepts as it comes

    std::shared_ptr<Amqp::Connection> Connect(const Login& login = {}) const;

    // Whose name an ordinary connection carries.
    static std::string User();

    static unsigned short Port();

    // A name for a queue or an exchange, which is removed after the test if it is still there.
    std::string Name(std::string_view what);

    // A queue that goes with the connection of the channel.
    std::string ExclusiveQueue(Amqp::Channel& channel, std::string_view what = "queue");

    // What rabbitmqctl prints: rows without a head, their columns separated by tabs. Throws when it fails.
    std::string Control(const std::vector<std::string>& arguments) const;

    // What `rabbitmqctl LISTING name COLUMNS` prints: the columns, joined by spaces, by name.
    std::map<std::string, std::string> List(const std::string& listing, const std::vector<std::string>& columns) const;

    // The process inside the broker that serves the connection with this text among its client properties.
    std::string ConnectionProcess(std::string_view property) const;

    // Waits until the queue holds just that.
    testing::AssertionResult Holds(const std::string& queue, Messages expected) const;

protected:
    void SetUp() override;
    void TearDown() override;

private:
    std::vector<std::string> names;
};

// With what most tests begin: a channel, whose errors are thrown, and an exclusive queue.
class BrokerWithQueue : public Broker
{
protected:
    void SetUp() override;
    void TearDown() override;

    // An exchange that is neither durable nor internal nor deleted of itself.
    std::string Exchange(std::string_view what, Amqp::ExchangeType type = Amqp::Direct);

    // Publishes a last message to the queue and consumes all that is in it.
    std::vector<std::string> Drain();

    // Has the broker send what is rejected from one queue to another, until the test ends.
    void DeadLetter(const std::string& from, const std::string& to);

    // As the connection finds them by a passive declare.
    bool QueueExists(std::string_view name) const;
    bool ExchangeExists(std::string_view name) const;

    std::shared_ptr<Amqp::Connection> connection;
    std::shared_ptr<Amqp::Channel> channel;
    std::string queue;

private:
    std::string policy;
};

// What a command of the shell prints. Throws, with the output, when it fails; the name says what did.
std::string Output(const std::string& name, const std::string& command);

// Waits until the condition holds; false when it does not in time.
bool Eventually(const std::function<bool()>& condition);

// Runs the loop until the condition holds; false when it does not in time, or the connection is closed first.
bool RunUntil(const Amqp::Connection& connection, const std::function<bool()>& condition);

inline std::string Text(const Amqp::Envelope& envelope)
{
    return std::string(envelope.ViewBody(0, envelope.Size()));
}

// What a subscription received.
struct Inbox
{
    std::vector<std::string> bodies;
    std::vector<Amqp::MetaData> properties;

    Amqp::DeliveryHandler Handler(Amqp::Acknowledge verdict = Amqp::Ack)
    {
        return [this, verdict](const Amqp::Envelope& envelope)
        {
            bodies.push_back(Text(envelope));
            properties.push_back(envelope);
            return verdict;
        };
    }

    auto Has(std::size_t count) const
    {
        return [this, count] { return bodies.size() >= count; };
    }
};
