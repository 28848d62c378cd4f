// What the tests of the ready-made roles share: a log that several threads write, the script of a binding, and bounded
// waits for what another thread does.
#pragma once

#include <future>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "Client.hpp"

// Log lines in their order, each with the thread it came on.
class Log
{
public:
    auto Sink()
    {
        return [this](std::string_view line)
        {
            const std::lock_guard lock(mutex);
            lines.emplace_back(line);
            threads.push_back(std::this_thread::get_id());
        };
    }

    std::vector<std::string> Lines() const
    {
        const std::lock_guard lock(mutex);
        return lines;
    }

    // For each line whether it came on the thread that asks.
    std::vector<bool> OnThisThread() const
    {
        const std::lock_guard lock(mutex);
        std::vector<bool> here;
        for (const std::thread::id thread : threads)
        {
            here.push_back(thread == std::this_thread::get_id());
        }
        return here;
    }

private:
    mutable std::mutex mutex;
    std::vector<std::string> lines;
    std::vector<std::thread::id> threads;
};

// Something that happens once, on one thread, and that another one waits for.
class Event
{
public:
    void Set() { promise.set_value(); }
    [[nodiscard]] bool Wait() { return future.wait_for(10s) == std::future_status::ready; }

private:
    std::promise<void> promise;
    std::future<void> future = promise.get_future();
};

// The topic exchange that both roles declare.
inline void AcceptTopicExchange(Dialogue& peer, std::uint16_t channel, const std::string& exchange = "ex")
{
    peer.Expect(channel, ExchangeDeclare{.exchange = exchange, .type = "topic", .durable = true});
    peer.Send(channel, ExchangeDeclareOk{});
}

// One binding, from opening its channel to its consumer. `declared` is the name that the client asks for.
inline void AcceptBinding(Dialogue& peer, std::uint16_t channel, const std::string& declared, const std::string& queue,
                          const std::string& key)
{
    peer.OpenChannel(channel);
    AcceptTopicExchange(peer, channel);
    peer.Expect(channel, QueueDeclare{.queue = declared, .durable = true, .autoDelete = true});
    peer.Send(channel, QueueDeclareOk{.queue = queue});
    peer.Expect(channel, QueueBind{.queue = queue, .exchange = "ex", .routingKey = key});
    peer.Send(channel, QueueBindOk{});
    const std::string tag = std::to_string(channel) + "/1";
    peer.Expect(channel, BasicConsume{.queue = queue, .consumerTag = tag, .noLocal = true, .noAck = true});
    peer.Send(channel, BasicConsumeOk{.consumerTag = tag});
}

// Logs in, plays the bindings of a consumer, and sees its channels and its connection closed.
inline ScriptedBroker::Script WithBindings(ScriptedBroker::Script bindings, std::uint16_t channels)
{
    return [bindings = std::move(bindings), channels](Dialogue& peer)
    {
        peer.Login();
        bindings(peer);
        for (std::uint16_t channel = 1; channel <= channels; ++channel)
        {
            peer.CloseChannel(channel);
        }
        peer.CloseConnection();
    };
}

// The binding "x" without a prefix, on channel 1.
inline void AcceptOneBinding(Dialogue& peer)
{
    AcceptBinding(peer, 1, "x", "x", "x");
}

inline void DeliverToTheFirst(Dialogue& peer, std::string_view body)
{
    peer.Deliver(1, {.consumerTag = "1/1", .exchange = "ex", .routingKey = "x"}, {}, body);
}
