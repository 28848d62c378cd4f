/// @file
/// The ready-made receiving side: routing keys of one topic exchange, each bound to a queue and a handler, and a
/// thread that listens. It owns its channels and its thread and shares the connection.
#pragma once

#include <amqp/Acknowledge.hpp>
#include <amqp/Channel.hpp>
#include <amqp/Connection.hpp>
#include <amqp/Export.hpp>

#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace Amqp
{

/// Listens to routing keys of a topic exchange on a thread of its own.
///
/// Construct it, call Bind for each routing key, then MainBindingDone; from there on the connection belongs to the
/// listening thread until the consumer is destroyed. Give it a connection of its own.
///
/// A consumer stays where it is made: its thread and its channels hold its address.
class AMQP_EXPORT Consumer
{
public:
    /// Talks to no broker and starts no thread.
    ///
    /// @param connection    the connection to listen on, kept as long as the consumer lives.
    /// @param exchangeName  the topic exchange, declared durable by each Bind.
    /// @param log           takes log lines and the texts of channel errors, on the caller's and on the listening
    ///                      thread; may be empty. It must not throw: on that thread, and in the destructor, that
    ///                      ends the process.
    /// @param queuePrefix   put before the name of a binding to make the name of its queue.
    /// @param onException   takes the exception that ended the listening thread, on that thread; may be empty. It must
    ///                      not throw: that ends the process.
    Consumer(std::shared_ptr<Connection> connection, std::string_view exchangeName,
             std::function<void(std::string_view)> log, std::string_view queuePrefix,
             std::function<void(const std::exception&)> onException);

    Consumer(const Consumer&) = delete;
    Consumer& operator=(const Consumer&) = delete;

    /// Stops listening and joins the thread. A wait ends at once, however long its limit; a handler that is running is
    /// waited for. Then closes the channels, each of which awaits the broker's reply. Must not run on the listening
    /// thread: a handler that destroys its consumer ends the process.
    ~Consumer();

    /// Binds a routing key to a queue and the queue's deliveries to a handler.
    ///
    /// Opens a channel, declares the exchange and a durable queue that is deleted with its last consumer, binds
    /// it and subscribes in AcknowledgeMode::Auto, so that the handler's verdict has no effect. To be called before
    /// MainBindingDone.
    ///
    /// @param name         the binding key, wildcards * and # included.
    /// @param handler      called on the listening thread with each delivery. What it throws ends the listening and
    ///                     goes to `onException`; what is no std::exception ends the process.
    /// @param serverNamed  let the broker name the queue; otherwise it is `queuePrefix` followed by `name`.
    ///
    /// A refusal by the broker goes to the log, and Bind then throws ErrorCode ("Channel is closed") at its next step
    /// unless it was at the last one. The channel of a Bind that failed stays open as far as it is, until the consumer
    /// is destroyed.
    ///
    /// @throws ErrorCode           as Channel does.
    /// @throws std::runtime_error  as Channel does.
    void Bind(std::string_view name, std::function<Acknowledge(const Envelope&)> handler, bool serverNamed);

    /// Starts listening. To be called once: a second call ends the process.
    ///
    /// @throws std::runtime_error  "Unable to listen on a null connection".
    /// @throws std::system_error   no thread could be started.
    void MainBindingDone();

private:
    AMQP_LOCAL void Start();
    AMQP_LOCAL void Stop();
    AMQP_LOCAL void Listen();
    AMQP_LOCAL void Log(std::string_view line) const;

    std::thread listener;
    std::shared_ptr<Connection> connection;
    std::string exchangeName;
    std::function<void(std::string_view)> log;
    std::string queuePrefix;
    std::vector<std::shared_ptr<Channel>> channels;
    std::function<void(const std::exception&)> onException;
};

} // namespace Amqp
