/// @file
/// A scope in which an application publishes many messages. A batch holds the channel's connection, and belongs to the
/// connection's thread.
#pragma once

#include <amqp/Export.hpp>

#include <memory>

namespace Amqp
{

class Channel;
class Connection;

/// Gathers small messages: while a batch exists, the kernel puts what the connection writes into full segments, instead
/// of one segment for each message. The connection then sends several times as many small messages a second.
///
/// @code
/// {
///     const Amqp::Batch batch(*channel);
///     for (const std::string& line : lines)
///     {
///         channel->Publish("", "lines", line, 0, {});
///     }
/// } // here the library sends what is left
/// @endcode
///
/// Order, meaning and errors of every operation stay the same. The library sends what was gathered
/// - when the last batch of the connection ends, also by an exception;
/// - with the message that brings it to 64 KiB or to 256 messages, or that follows the oldest gathered message by 2 ms;
/// - before Connection::Run, or a call that awaits the broker's reply, waits.
///
/// If a message follows the one before by more than 1 ms, the library sends it at once, so a slow loop delays nothing.
/// If an application stops using the connection while a batch is open, Linux delays the gathered messages by at most
/// 200 ms. No message is lost.
///
/// A batch gathers for the whole connection, whatever the channel. Batches may nest; the outermost batch counts.
class AMQP_EXPORT Batch
{
public:
    /// Begins to gather (TCP_CORK) on the channel's connection, and keeps the connection as long as the batch exists.
    ///
    /// @throws std::runtime_error  "Unable to use a channel that was moved from".
    explicit Batch(Channel& channel);

    /// Sends what was gathered. Throws nothing: if the connection fails, its next use reports the failure.
    ~Batch();

    Batch(const Batch&) = delete;
    Batch(Batch&&) = delete;
    Batch& operator=(const Batch&) = delete;
    Batch& operator=(Batch&&) = delete;

    /// Returns whether the batch gathers at all. On systems other than Linux, over TLS and on a failed connection a
    /// batch does nothing: messages leave one by one, as without a batch.
    [[nodiscard]] bool Gathers() const;

private:
    std::shared_ptr<Connection> connection;
    bool gathers;
};

} // namespace Amqp
