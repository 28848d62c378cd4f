/// @file
/// The ready-made sending side: one channel that publishes to one topic exchange, and a table of pending requests
/// for the application. It owns its channel and shares the connection.
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
/// Beside that it keeps envelopes that the application files under a number, to find a request again when its reply
/// arrives. Publishing takes no notice of that table. Nothing is locked: a producer belongs to the thread that
/// drives its connection, and calls on the table from several threads are for the caller to serialise. Only the
/// numbers are unique across threads.
///
/// A producer stays where it is made: its channel holds its address.
class AMQP_EXPORT Producer
{
public:
    /// Opens a channel and declares the topic exchange, durable.
    ///
    /// @param connection    the connection to publish on, kept as long as the producer lives.
    /// @param exchangeName  the topic exchange.
    /// @param log           takes log lines and the texts of channel errors, on the thread that calls or runs; may be
    ///                      empty.
    ///
    /// A refusal by the broker goes to the log.
    ///
    /// There is one channel for everything. After an error that closes it Publish and Reply throw. After one that drops
    /// it they go on and log their own errors, but Connection::Run no longer reports errors to this channel (see
    /// Channel). Make another producer in both cases.
    ///
    /// @throws ErrorCode           as Channel does.
    /// @throws std::runtime_error  as Channel does.
    Producer(std::shared_ptr<Connection> connection, std::string_view exchangeName,
             std::function<void(std::string_view)> log);

    Producer(const Producer&) = delete;
    Producer& operator=(const Producer&) = delete;

    /// Closes the channel and drops the table of pending requests.
    ~Producer();

    /// Files a copy of a request and gives its number: 0 for the first of the process, then 1, and so on. The body is
    /// not copied; its bytes must stay valid as long as the filed envelope is used.
    std::int32_t AddRequest(const Envelope& request);

    /// Copies the request filed under `id` into `request`: false when there is none, and `request` stays as it was.
    bool GetRequest(std::int32_t id, Envelope& request);

    /// Drops the request filed under `id`, if any.
    void RemoveRequest(std::int32_t id);

    /// Publishes a message as it is to the exchange (`basic.publish`); errors as Channel::Publish.
    void Publish(const Envelope& message, std::string_view routingKey);

    /// Publishes a message as it is straight to a queue, through the default exchange. The caller sets the correlation
    /// id; errors as Channel::Publish.
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
