/// @file
/// The ready-made sending side: one channel that publishes to one topic exchange, and a table of pending requests for
/// the application. A producer owns its channel and shares the connection.
#pragma once

#include <amqp/Channel.hpp>
#include <amqp/Connection.hpp>
#include <amqp/Envelope.hpp>
#include <amqp/ErrorCode.hpp>
#include <amqp/Export.hpp>

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace Amqp
{

/// Publishes to a topic exchange and replies to queues.
///
/// A producer also keeps envelopes that the application stores under a number, to find a request again when its reply
/// arrives. Publishing does not use that table. Nothing is locked: a producer belongs to the thread that drives its
/// connection. If several threads use the table, the caller must serialise these calls. Only the numbers are unique
/// across threads.
///
/// A producer can be neither copied nor moved: its channel holds its address.
class AMQP_EXPORT Producer
{
public:
    /// Opens a channel and declares the topic exchange, durable.
    ///
    /// @param connection    the connection to publish on, kept as long as the producer exists.
    /// @param exchangeName  the topic exchange.
    /// @param log           takes log lines and the texts of channel errors, on the thread that calls or runs; may be
    ///                      empty.
    ///
    /// If the broker refuses the declaration, the producer logs the refusal.
    ///
    /// One channel serves all operations. After an error that closes the channel, Publish and Reply throw. After an
    /// error that drops it, they go on and log their own errors, but Connection::Run no longer reports errors to this
    /// channel (see Channel). Make another producer in both cases.
    ///
    /// @throws ErrorCode           as Channel does.
    /// @throws std::runtime_error  as Channel does.
    Producer(std::shared_ptr<Connection> connection, std::string_view exchangeName,
             std::function<void(std::string_view)> log);

    Producer(const Producer&) = delete;
    Producer& operator=(const Producer&) = delete;

    /// Closes the channel and destroys the table of pending requests.
    ~Producer();

    /// Stores a copy of a request and returns its number: 0 for the first of the process, then 1, and so on. The body
    /// is not copied: its bytes must stay valid as long as the stored envelope is used.
    std::int32_t AddRequest(const Envelope& request);

    /// Copies the request stored under `id` into `request`. Returns false if there is none, and does not change
    /// `request`.
    bool GetRequest(std::int32_t id, Envelope& request);

    /// Removes the request stored under `id`, if any.
    void RemoveRequest(std::int32_t id);

    /// Publishes a message to the exchange (`basic.publish`), unchanged. Errors are those of Channel::Publish.
    void Publish(const Envelope& message, std::string_view routingKey);

    /// Publishes a message to a queue through the default exchange, unchanged. The caller sets the correlation id.
    /// Errors are those of Channel::Publish.
    void Reply(const Envelope& message, std::string_view queue);

    /// The number of the next request, across all producers of the process.
    static std::atomic<int> requestIdentifier;

private:
    AMQP_LOCAL void Log(const ErrorCode& error) const;

    std::shared_ptr<Connection> connection;
    std::string exchangeName;
    std::function<void(std::string_view)> log;
    std::shared_ptr<Channel> channel;
    std::map<std::int32_t, Envelope> requests;
};

} // namespace Amqp
