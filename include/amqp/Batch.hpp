/// @file
/// A scope in which many messages are published. It holds the channel's connection, and belongs to its thread.
#pragma once

#include <amqp/Export.hpp>

#include <memory>

namespace Amqp
{

class Channel;
class Connection;

/// While it lives, the kernel gathers what the connection writes into full segments, instead of sending each message
/// in one of its own: several times as many small messages a second.
///
/// @code
/// {
///     const Amqp::Batch batch(*channel);
///     for (const std::string& line : lines)
///     {
///         channel->Publish("", "lines", line, 0, {});
///     }
/// } // what is left goes out here
/// @endcode
///
/// Order and meaning of every operation stay as they are, and so do its errors. What was gathered goes out
/// - when the last batch of the connection ends, by an exception, too;
/// - with the message that makes it 64 KiB, or 256 messages, or that finds the oldest of them waiting for 2 ms;
/// - before Connection::Run, or a call that awaits the broker's reply, waits.
///
/// A message that comes more than 1 ms after the one before goes out at once, so that a slow loop delays nothing. An
/// application that stops using the connection while a batch is open, by mistake say, delays what was gathered since,
/// by at most the 200 ms that Linux gives it; nothing is lost.
///
/// It gathers for the whole connection, whatever the channel. Batches may nest; the outermost counts.
class AMQP_EXPORT Batch
{
public:
    /// Begins to gather (TCP_CORK) on the channel's connection, which is kept as long as the batch lives.
    ///
    /// @throws std::runtime_error  "Unable to use a channel that was moved from".
    explicit Batch(Channel& channel);

    /// What was gathered goes out. Throws nothing: a failure of the connection is found by its next use.
    ~Batch();

    Batch(const Batch&) = delete;
    Batch(Batch&&) = delete;
    Batch& operator=(const Batch&) = delete;
    Batch& operator=(Batch&&) = delete;

    /// Whether anything is gathered at all. On systems other than Linux, over TLS and on a connection that has failed
    /// a batch does nothing: messages go out one by one, as without it.
    [[nodiscard]] bool Gathers() const;

private:
    std::shared_ptr<Connection> connection;
    bool gathers;
};

} // namespace Amqp
