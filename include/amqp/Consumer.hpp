/// @file
/// The ready-made receiving side: routing keys of one topic exchange, each bound to a queue and a handler, and a thread
/// that listens. A consumer owns its channels and its thread, and shares the connection.
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
/// Construct the consumer, call Bind for each routing key, and then MainBindingDone. From then on the connection
/// belongs to the listening thread, until the consumer is destroyed. Give the consumer a connection of its own.
///
/// A consumer can be neither copied nor moved: its thread and its channels hold its address.
class AMQP_EXPORT Consumer
{
public:
    /// Stores the arguments. It sends nothing and starts no thread.
    ///
    /// @param connection    the connection to listen on, kept as long as the consumer exists.
    /// @param exchangeName  the topic exchange, declared durable by each Bind.
    /// @param log           takes log lines and the texts of channel errors, on the caller's thread and on the
    ///                      listening thread; may be empty. It must not throw: on the listening thread, and in the
    ///                      destructor, an exception ends the process.
    /// @param queuePrefix   precedes the name of a binding in the name of its queue.
    /// @param onException   takes the exception that ended the listening thread, on that thread; may be empty. It must
    ///                      not throw: an exception ends the process.
    Consumer(std::shared_ptr<Connection> connection, std::string_view exchangeName,
             std::function<void(std::string_view)> log, std::string_view queuePrefix,
             std::function<void(const std::exception&)> onException);

    Consumer(const Consumer&) = delete;
    Consumer& operator=(const Consumer&) = delete;

    /// Stops listening, joins the thread, and closes the channels, each of which awaits the broker's reply. A wait of
    /// the thread ends at once, however long its limit; a running handler ends first. The destructor must not run on
    /// the listening thread: if a handler destroys its consumer, the process ends.
    ~Consumer();

    /// Binds a routing key to a queue and the queue's deliveries to a handler.
    ///
    /// Opens a channel, declares the exchange and a durable queue that the broker deletes with its last consumer, and
    /// binds the queue. Then subscribes in AcknowledgeMode::Auto, so the handler's verdict has no effect. Call Bind
    /// before MainBindingDone.
    ///
    /// @param name         the binding key, wildcards * and # included.
    /// @param handler      takes each delivery, on the listening thread. An exception from it ends the listening and is
    ///                     passed to `onException`; one not derived from std::exception ends the process.
    /// @param serverNamed  whether the broker names the queue; otherwise its name is `queuePrefix` followed by `name`.
    ///
    /// If the broker refuses a step of Bind, Bind logs the refusal. Its next step, if any, then throws ErrorCode
    /// ("Channel is closed"). If Bind throws, the consumer keeps the channel, open or closed, until the consumer is
    /// destroyed.
    ///
    /// @throws ErrorCode           as Channel does.
    /// @throws std::runtime_error  as Channel does.
    void Bind(std::string_view name, std::function<Acknowledge(const Envelope&)> handler, bool serverNamed);

    /// Starts listening. Call it once: a second call ends the process.
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
