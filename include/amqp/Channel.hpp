/// @file
/// A channel of a connection: all operations at the broker use a channel. A channel shares ownership of its connection,
/// and belongs to the thread that drives that connection.
#pragma once

#include <amqp/AckStatus.hpp>
#include <amqp/Acknowledge.hpp>
#include <amqp/Connection.hpp>
#include <amqp/Envelope.hpp>
#include <amqp/ErrorCode.hpp>
#include <amqp/ExchangeType.hpp>
#include <amqp/Export.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>

namespace Amqp
{

/// An open channel.
///
/// Hold a channel by std::shared_ptr, made with std::make_shared. The library passes strings on without copying them.
/// They need not be zero-terminated, and AMQP limits each to 255 bytes.
///
/// Errors that belong to the channel are reported to its error notifier, and the operation returns normally; other
/// channels go on. If the notifier is OnErrorThrow, the errors are thrown. Afterwards the channel is in one of two
/// states:
/// - Closed: the broker has closed the channel, which is how the broker refuses an operation. Every operation that
///   would send something on the channel throws ErrorCode ("Channel is closed", `ChannelClosed`, 504), and nothing is
///   sent.
/// - Dropped: a message could not be published, Connection::Run threw an error of this channel, or an error dropped all
///   channels. Connection::Run no longer reports errors or returned messages to the channel, and its destructor does
///   not close it. Deliveries go on. Its calls and publishes still go out and report their errors. Make another
///   channel.
///
/// If the broker closes the connection, or the socket fails, the error is thrown as ErrorCode, except by Publish, which
/// reports it to the notifier. The connection has then failed, and every later use fails. A thrown error drops all
/// channels. A failed Publish drops its own channel only: the next Connection::Run still handles what had arrived for
/// the others, and then throws. A string of more than 255 bytes in a call is also thrown (`Library`, 1), and also drops
/// all channels. But nothing is sent, and the connection stays usable.
///
/// Calls (all operations at the broker except Publish) await the broker's reply. Meanwhile the library keeps whatever
/// else arrives in memory for the next Connection::Run. If the broker closes this channel while another operation
/// waits, the next use of this channel reports that to its notifier ("Broker requested channel close"). That use then
/// throws ErrorCode ("Channel is closed").
class AMQP_EXPORT Channel : public std::enable_shared_from_this<Channel>
{
public:
    /// Opens the next channel of the connection. Numbers start at 1 and rise by one with each channel. The library does
    /// not reuse them, and the broker limits them (RabbitMQ: 2047 unless configured otherwise).
    ///
    /// @param connection     the connection, kept as long as the channel exists.
    /// @param errorNotifier  takes each error that belongs to this channel, on the thread of the operation that meets
    ///                       the error. It may destroy the channel.
    ///
    /// @throws std::runtime_error  "Unable to create a channel on a null connection", "Error handler must NOT be null".
    /// @throws ErrorCode           the connection failed.
    ///
    /// Sends `channel.open`. If the broker refuses with `channel.close`, the error is reported to the notifier during
    /// construction; the channel then has the number 0 and is closed.
    Channel(std::shared_ptr<Amqp::Connection> connection, std::function<void(ErrorCode&&)> errorNotifier);

    /// Takes over connection, notifier and number. `other` then has no connection, and its operations throw
    /// std::runtime_error ("Unable to use a channel that was moved from"). If Connection::Run finds an error of this
    /// channel, the library still uses `other`. So keep `other` alive; better, hold channels by std::shared_ptr and do
    /// not move them.
    Channel(Channel&& other);

    /// Closes the channel (`channel.close` with reply code 200) and awaits the reply. Sends nothing if the channel is
    /// closed or dropped already, or the connection has failed. Throws nothing. If the broker closes the connection
    /// instead of replying, the next step or call finds that out.
    virtual ~Channel();

    Channel& operator=(const Channel&) = delete;
    Channel& operator=(Channel&&) = delete;

    /// Returns the channel's connection.
    [[nodiscard]] std::weak_ptr<Amqp::Connection> Connection();

    /// Returns the notifier given at construction, which is valid as long as the channel; empty if the channel was
    /// moved from.
    [[nodiscard]] const std::function<void(ErrorCode&&)>& ErrorNotifier() const;

    /// Returns the channel's number, or 0 if the broker refused to open the channel. A closed channel keeps its number.
    [[nodiscard]] unsigned short Token() const;

    /// Throws the error. Pass this function as a notifier to have errors thrown.
    [[noreturn]] static void OnErrorThrow(ErrorCode&& error);

    /// Checks that an exchange exists (passive `exchange.declare`). If there is none, the broker refuses with 404.
    void DeclareExchange(std::string_view name);

    /// Declares an exchange (`exchange.declare`), without arguments.
    ///
    /// If the exchange exists with the same attributes, nothing changes; if it has other attributes, the broker refuses
    /// with 406.
    ///
    /// @throws std::runtime_error  "Invalid exchange type"; nothing is sent and the channel stays usable.
    void DeclareExchange(std::string_view name, ExchangeType type, bool durable, bool internal, bool autoDelete);

    /// Declares a queue that the broker names (`queue.declare`). Returns the name, or an empty string if the broker
    /// refused.
    std::string DeclareQueue(bool durable, bool exclusive, bool autoDelete);

    /// Does not compile. A queue with a name takes four arguments. In `DeclareQueue("orders", true, false)` the name
    /// would become a bool, `durable`, and the broker would name the queue.
    template <typename Name, std::enable_if_t<std::is_convertible_v<const Name&, std::string_view>, int> = 0>
    std::string DeclareQueue(const Name& name, bool exclusive, bool autoDelete) = delete;

    /// Checks that a queue exists (passive `queue.declare`). If there is none, the broker refuses with 404.
    void DeclareQueue(std::string_view name);

    /// Declares a queue (`queue.declare`), without arguments. If the queue exists with other attributes, the broker
    /// refuses with 406; if it is another connection's exclusive queue, with 405.
    void DeclareQueue(std::string_view name, bool durable, bool exclusive, bool autoDelete);

    /// Binds one exchange to another (`exchange.bind`).
    void BindExchange(std::string_view destination, std::string_view source, std::string_view routingKey);

    /// Removes a binding of one exchange to another (`exchange.unbind`).
    void UnbindExchange(std::string_view destination, std::string_view source, std::string_view routingKey);

    /// Binds a queue to an exchange (`queue.bind`).
    void BindQueue(std::string_view queue, std::string_view exchange, std::string_view routingKey);

    /// Removes a binding of a queue to an exchange (`queue.unbind`).
    void UnbindQueue(std::string_view queue, std::string_view exchange, std::string_view routingKey);

    /// Deletes an exchange (`exchange.delete`). With `ifUnused`, the broker refuses with 406 if the exchange has
    /// bindings.
    void DestroyExchange(std::string_view name, bool ifUnused);

    /// Deletes a queue and its messages (`queue.delete`). The broker refuses with 406 if the queue holds messages and
    /// `ifEmpty` is set, or has consumers and `ifUnused` is set.
    void DestroyQueue(std::string_view name, bool ifEmpty, bool ifUnused);

    /// Removes the messages of a queue that await delivery (`queue.purge`).
    void PurgeQueue(std::string_view name);

    /// Publishes one message (`basic.publish`). Over TCP the library copies no body of more than 1 KiB; over TLS it
    /// copies each body once, for OpenSSL.
    ///
    /// @param exchange   the exchange; "" is the default exchange, which routes to the queue named by the routing key.
    /// @param routingKey what the exchange routes by.
    /// @param envelope   the message. Its body is read during the call only.
    /// @param partSize   the largest body in bytes that is sent as one message; 0 for no limit. A larger body is sent
    ///                   as a series of messages of at most so many bytes, which a subscription of this library joins.
    ///                   The series carries headers of its own instead of the envelope's.
    /// @param callback   if given, the message is published as mandatory, and its message id is a number of the
    ///                   library's own. If the broker returns the message as unroutable, Connection::Run calls the
    ///                   callback. The callback is kept until then, and for a routed message as long as the connection.
    ///                   If the callback of a routed message holds the connection or a channel by std::shared_ptr,
    ///                   neither is ever destroyed. Let it hold a std::weak_ptr or a reference.
    ///
    /// If a message cannot be sent, the error is reported to the notifier, and the channel is dropped. The category is
    /// `Library`, `Tcp` or `Ssl`, and the code is rabbitmq-c's status without its sign. There are four causes: a string
    /// property or a header's key of more than 255 bytes, headers that do not fit a frame, a failed socket, or a broker
    /// silent for two heartbeat intervals. The remaining parts of a series are still attempted. The broker's own
    /// refusals (404 for an unknown exchange) arrive later: Connection::Run reports them, or the next call.
    ///
    /// Returns when the message is in the socket's buffer. If the broker stops reading (RabbitMQ does so when it is
    /// short of memory), Publish waits. With heartbeats, Publish fails when the broker has sent nothing for two
    /// intervals; without heartbeats, it waits without limit. The next Connection::Run handles what arrives meanwhile.
    void Publish(std::string_view exchange, std::string_view routingKey, const Envelope& envelope, std::size_t partSize,
                 PublishCallback callback);

    /// Publishes a body with the content type "text/plain" and the delivery mode Persistent. See the form that takes an
    /// envelope.
    void Publish(std::string_view exchange, std::string_view routingKey, std::string_view body, std::size_t partSize,
                 PublishCallback callback);

    /// Publishes the whole contents of a file. Publish reads the file into memory from its first byte, whatever the
    /// position of the stream. It then publishes the bytes; see the form that takes a string. If the file is shorter
    /// than its reported size, zeros replace the missing bytes.
    ///
    /// @throws std::runtime_error  "Invalid stream state": the stream has failed, or cannot be wound back. Nothing is
    ///                             sent.
    void Publish(std::string_view exchange, std::string_view routingKey, std::ifstream& stream, std::size_t partSize,
                 PublishCallback callback);

    /// Starts a consumer (`basic.consume`) and returns its tag, the handle for Unsubscribe.
    ///
    /// The tag consists of the channel's number and a counter, such as "3/17". If the broker refuses, Subscribe still
    /// returns the tag, but nothing is subscribed.
    ///
    /// @param queue      the queue to consume; if there is none of that name, the broker refuses with 404.
    /// @param handler    takes each delivery, inside Connection::Run. It is kept until Unsubscribe, or as long as the
    ///                   connection. If the handler holds the connection or a channel by std::shared_ptr, it keeps both
    ///                   until then. Let it hold a std::weak_ptr or a reference.
    /// @param mode       who acknowledges the deliveries.
    /// @param noLocal    asks for no messages of this connection's own; RabbitMQ ignores it.
    /// @param exclusive  asks to be the only consumer of the queue; if there is another, the broker refuses with 403.
    std::string Subscribe(std::string_view queue, DeliveryHandler handler, AcknowledgeMode mode, bool noLocal,
                          bool exclusive);

    /// Subscribes with a tag of the caller's choice; see Subscribe. The tag must not be empty: the broker would then
    /// choose a tag, and no delivery would find its handler. The tag must be unique on the connection. If another
    /// channel uses the tag, the tag keeps its handler and its mode. If the same channel uses it, RabbitMQ closes the
    /// connection (530).
    void SubscribeRpc(std::string_view consumerTag, std::string_view queue, DeliveryHandler handler,
                      AcknowledgeMode mode, bool noLocal, bool exclusive);

    /// Releases the handler, and then cancels the consumer (`basic.cancel`). A running handler is released when it has
    /// returned. Call Unsubscribe on the channel that subscribed: on another channel, the library removes the handler
    /// but the broker keeps the consumer. An unknown tag is no error. Deliveries on their way are dropped,
    /// unacknowledged. On a closed channel, nothing is sent and nothing is thrown.
    void Unsubscribe(std::string_view consumerTag);

private:
    friend class Amqp::Connection;
    friend class Batch;

    AMQP_LOCAL void Token(unsigned short number);
    AMQP_LOCAL std::string GenerateTag();
    AMQP_LOCAL std::weak_ptr<void> Watch();
    /// Returns the notifier, never null. The connection keeps it while it runs, because the notifier may destroy its
    /// channel.
    AMQP_LOCAL std::shared_ptr<const std::function<void(ErrorCode&&)>> HoldNotifier() const;
    AMQP_LOCAL std::shared_ptr<Amqp::Connection> Hold() const;
    AMQP_LOCAL Amqp::Connection& Require() const;

    std::shared_ptr<Amqp::Connection> connection;
    std::shared_ptr<std::function<void(ErrorCode&&)>> errorNotifier; // null if the channel was moved from
    std::uint16_t token = 0;
    std::uint64_t tagCounter = 0;
    std::shared_ptr<void> alive; // made when an operation has to see whether this channel was destroyed meanwhile
};

} // namespace Amqp
