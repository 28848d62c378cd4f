// What tests of faults have in common: messages that can be told apart, a publisher on a thread of its own, the end of
// a connection with the time it took, and a witness who says what the broker really holds.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "broker/Broker.hpp"

using Clock = std::chrono::steady_clock;

inline constexpr std::chrono::seconds heartbeat = 1s;
inline constexpr auto noticed = 3 * heartbeat + 2s; // for silence; the latter for a machine that does other things
inline constexpr auto soon = 5s;                    // for what takes milliseconds
inline const std::string socketError = "category 2, code 9: a socket error occurred";
inline const std::string silence = "category 2, code 15: heartbeat timeout, connection closed";

// Compares how long something took, and notes it for those who read the log.
void ExpectWithin(std::chrono::milliseconds soon, std::string_view what, Clock::duration duration);

// "first", ..., "last" as decimal numbers.
std::vector<std::string> Numbers(int first, int last);

// What a queue gave: a body, which is a number, perhaps followed by a space and more, and the broker's mark.
struct Taken
{
    int number;
    bool redelivered;
};

// Such as "1-5, 7 again, 9-20 again": each in the order in which it was taken, "again" where it was marked.
std::string Summary(const std::vector<Taken>& taken);

// The summary of numbers in their order.
std::string Range(int first, int last, bool redelivered = false);

// A client of the broker that the environment names, made of rabbitmq-c alone: it can have its messages confirmed, and
// sees the mark of redelivery. Whatever fails throws std::runtime_error. One thread.
class Witness
{
public:
    Witness();
    ~Witness();
    Witness(const Witness&) = delete;
    Witness& operator=(const Witness&) = delete;

    void Declare(const std::string& queue); // durable
    void Delete(const std::string& queue);

    // Publishes numbers as persistent messages and waits until the broker has taken responsibility for them.
    void Fill(const std::string& queue, int first, int last);

    // How many messages wait for a consumer.
    int Ready(const std::string& queue);

    // Waits until so many do, then takes them all for good.
    std::vector<Taken> Take(const std::string& queue, int count);

private:
    std::unique_ptr<class BareClient> client;
};

// How a connection ended that was run until it did.
struct Ending
{
    std::optional<bool> result; // the last one
    std::optional<Amqp::ErrorCode> thrown;
    Clock::time_point when;
};

// "false", "true", "empty", or "category 2, code 9: " and the text of what was thrown.
std::string Seen(const Ending& ending);

// Runs the loop until it throws or says false, for no longer than a test may last.
Ending RunToTheEnd(const Amqp::Connection& connection);

// Publishes numbered persistent messages, one after the other, on a thread of its own, until it is told of an error,
// has published what it should, or is stopped. The thread alone uses the connection meanwhile.
class Publisher
{
public:
    struct Task
    {
        std::string queue;
        std::size_t size = 0; // of each body; a number at the least
        int most = 1'000'000;
        std::chrono::milliseconds pause{1};
        bool persistent = true;
    };

    Publisher(std::shared_ptr<Amqp::Connection> connection, Task task);
    ~Publisher(); // stops, and waits

    int Published() const; // without an error
    bool Ended() const;    // of itself or by an error
    void Stop();
    bool AwaitEnd(); // false when it does not come in time

    // After the end:
    std::vector<Amqp::ErrorCode> noted;    // what the channel's notifier was told
    std::optional<Amqp::ErrorCode> thrown; // what came out of Publish
    Clock::time_point when;                // the first of them
    Clock::duration longest{};             // that one call of Publish took

    // What the application saw of it, as for an Ending; what was thrown begins with "thrown: ".
    friend std::string Seen(const Publisher& publisher);

private:
    void Work();
    void PublishAll(Amqp::Channel& channel);

    std::shared_ptr<Amqp::Connection> connection;
    const Task task;
    std::atomic<int> published{0};
    std::atomic<bool> stopping{false};
    std::atomic<bool> ended{false};
    std::thread thread;
};
