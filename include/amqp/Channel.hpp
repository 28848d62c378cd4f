/// @file
/// A channel of a connection: everything that is done with the broker goes through one. It shares ownership of its
/// connection and belongs to the thread that drives that connection.
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
/// Meant to be held by std::shared_ptr, made with std::make_shared. Strings are passed on without copying; they need
/// not be zero-terminated, and AMQP limits each to 255 bytes.
///
/// Errors that belong to the channel are reported to its error notifier, and the operation returns normally; other
/// channels go on. Pass OnErrorThrow as the notifier to have them thrown. Afterwards the channel is one of two things:
/// - Closed, when the broker closed it, which is how the broker refuses an operation: whatever would send something on
///   the channel throws ErrorCode ("Channel is closed", `ChannelClosed`, 504), and nothing is sent.
/// - Dropped, when a message could not be published, when Connection::Run threw an error of this channel, or when an
///   error dropped all channels: Connection::Run no longer reports errors or returned messages to it, and its
///   destructor does not close it. Deliveries go on. Its calls and publishes still go out and report their errors. Make
///   another channel.
///
/// Errors that belong to the connection (the broker closed it, or the socket failed) are thrown as ErrorCode, except
/// by Publish, which reports them to the notifier. The connection has then failed: all its channels are dropped,
/// nothing is reported to the other channels, and every later use fails. A string of more than 255 bytes in a call is
/// also thrown (`Library`, 1) and also drops all channels, but nothing is sent and the connection stays usable.
///
/// Calls that await the broker's reply (all except Publish) block until the reply arrives. Whatever else arrives
/// meanwhile is kept in memory for the next Connection::Run. If the broker closed this channel meanwhile, the next use
/// of the channel reports that to its notifier ("Broker requested channel close"), and then throws as above.
class AMQP_EXPORT Channel : public std::enable_shared_from_this<Channel>
{
public:
    /// Opens the next channel of the connection. Numbers start at 1, rise by one for each channel opened on the
    /// connection, and are not reused; the broker limits them (RabbitMQ: 2047 unless configured otherwise).
    ///
    /// @param connection     the connection, kept as long as the channel lives.
    /// @param errorNotifier  called with each error that belongs to this channel, on the thread that runs into
    ///                       it. It may destroy the channel.
    ///
    /// @throws std::runtime_error  "Unable to create a channel on a null connection", "Error handler must NOT be null".
    /// @throws ErrorCode           the connection failed.
    ///
    /// Sends `channel.open`. If the broker refuses with `channel.close`, the error is reported to the notifier during
    /// construction; the channel then has the number 0 and is closed.
    Channel(std::shared_ptr<Amqp::Connection> connection, std::function<void(ErrorCode&&)> errorNotifier);

    /// Takes over connection, notifier and number; `other` is left with no connection, and its operations throw
    /// std::runtime_error ("Unable to use a channel that was moved from"). The connection keeps addressing `other` when
    /// an error for this channel arrives in the run loop: keep it alive, or better, hold channels by std::shared_ptr
    /// and do not move them.
    Channel(Channel&& other);

    /// Closes the channel (`channel.close` with reply code 200) and awaits the reply, unless the channel is closed or
    /// dropped already, or the connection has failed. Throws nothing. If the broker closes the connection instead of
    /// replying, the next step or call finds that out.
    virtual ~Channel();

    Channel& operator=(const Channel&) = delete;
    Channel& operator=(Channel&&) = delete;

    /// The channel's connection.
    [[nodiscard]] std::weak_ptr<Amqp::Connection> Connection();

    /// The notifier given at construction; valid as long as the channel. Empty when the channel was moved from.
    [[nodiscard]] const std::function<void(ErrorCode&&)>& ErrorNotifier() const;

    /// The channel's number; 0 when the broker refused to open it. A closed channel keeps its number.
    [[nodiscard]] unsigned short Token() const;

    /// An error notifier that throws the error.
    [[noreturn]] static void OnErrorThrow(ErrorCode&& error);

    /// Checks that an exchange exists: a passive `exchange.declare`. Reply code 404 when not.
    void DeclareExchange(std::string_view name);

    /// Declares an exchange (`exchange.declare`), without arguments.
    ///
    /// Declaring one that exists with the same attributes changes nothing; other attributes are refused with 406.
    ///
    /// @throws std::runtime_error  "Invalid exchange type"; nothing is sent and the channel stays usable.
    void DeclareExchange(std::string_view name, ExchangeType type, bool durable, bool internal, bool autoDelete);

    /// Declares a queue that the broker names (`queue.declare`). Returns the name, or an empty string if the broker
    /// refused.
    std::string DeclareQueue(bool durable, bool exclusive, bool autoDelete);

    /// Does not compile. A queue with a name takes four arguments: in `DeclareQueue("orders", true, false)` the name
    /// would become a bool, `durable`, and the broker would name the queue.
    template <typename Name, std::enable_if_t<std::is_convertible_v<const Name&, std::string_view>, int> = 0>
    std::string DeclareQueue(const Name& name, bool exclusive, bool autoDelete) = delete;

    /// Checks that a queue exists: a passive `queue.declare`. Reply code 404 when not.
    void DeclareQueue(std::string_view name);

    /// Declares a queue (`queue.declare`), without arguments. Other attributes than those of a queue that exists are
    /// refused with 406, another connection's exclusive queue with 405.
    void DeclareQueue(std::string_view name, bool durable, bool exclusive, bool autoDelete);

    /// Binds one exchange to another (`exchange.bind`).
    void BindExchange(std::string_view destination, std::string_view source, std::string_view routingKey);

    /// Removes such a binding (`exchange.unbind`).
    void UnbindExchange(std::string_view destination, std::string_view source, std::string_view routingKey);

    /// Binds a queue to an exchange (`queue.bind`).
    void BindQueue(std::string_view queue, std::string_view exchange, std::string_view routingKey);

    /// Removes such a binding (`queue.unbind`).
    void UnbindQueue(std::string_view queue, std::string_view exchange, std::string_view routingKey);

    /// Deletes an exchange (`exchange.delete`). With `ifUnused` one that has bindings is refused with 406.
    void DestroyExchange(std::string_view name, bool ifUnused);

    /// Deletes a queue and its messages (`queue.delete`). With `ifEmpty` one that holds messages, with `ifUnused` one
    /// that has consumers is refused with 406.
    void DestroyQueue(std::string_view name, bool ifEmpty, bool ifUnused);

    /// Removes the messages of a queue that await delivery (`queue.purge`).
    void PurgeQueue(std::string_view name);

    /// Publishes one message (`basic.publish`). Over TCP the library copies no body of more than 1 KiB; over TLS it
    /// copies each body once, for OpenSSL.
    ///
    /// @param exchange   "" is the default exchange, which routes to the queue named by the routing key.
    /// @param routingKey what the exchange routes by.
    /// @param envelope   the message. Its body is read during the call only.
    /// @param partSize   the largest body in bytes that goes out as one message; 0 for no limit. A larger body
    ///                   goes out as a series of messages of at most so many bytes, which a subscription of this
    ///                   library joins again. The series carries headers of its own in place of the envelope's.
    /// @param callback   when given, the message is published as mandatory, with a number of the library's own as
    ///                   its message id, and the callback is called from Connection::Run if the broker sends it
    ///                   back as unroutable. It is kept until then, for a routed message as long as the connection:
    ///                   one that holds the connection or a channel by std::shared_ptr keeps both for ever. Let it
    ///                   hold a std::weak_ptr or a reference.
    ///
    /// If a message cannot be sent, the error is reported to the notifier (`Library`, `Tcp` or `Ssl`, and the code is
    /// rabbitmq-c's status without its sign), and the channel is dropped. The causes: a string property or a header's
    /// key of more than 255 bytes, headers that do not fit a frame, a socket that failed, a broker silent for two
    /// heartbeat intervals. The remaining parts of a series are still attempted. The broker's own refusals (404 for an
    /// unknown exchange) arrive later: Connection::Run reports them, or the next call.
    ///
    /// Returns when the message is in the socket's buffer. If the broker stops reading (RabbitMQ does so when it is
    /// short of memory), Publish waits. With heartbeats, Publish fails when the broker has sent nothing for two
    /// intervals; without heartbeats, it waits without limit. The next Connection::Run handles what arrives meanwhile.
    void Publish(std::string_view exchange, std::string_view routingKey, const Envelope& envelope, std::size_t partSize,
                 PublishCallback callback);

    /// Publishes a body with the content type "text/plain" and the delivery mode Persistent; see the envelope form.
    void Publish(std::string_view exchange, std::string_view routingKey, std::string_view body, std::size_t partSize,
                 PublishCallback callback);

    /// Publishes the whole contents of a file, read into memory from its first byte wherever the stream stands; see the
    /// form that takes a text. Octets that the file announces and does not have go out as zeros.
    ///
    /// @throws std::runtime_error  "Invalid stream state": the stream has failed, or cannot be wound back. Nothing is
    ///                             sent.
    void Publish(std::string_view exchange, std::string_view routingKey, std::ifstream& stream, std::size_t partSize,
                 PublishCallback callback);

    /// Starts a consumer (`basic.consume`) and returns its tag, the handle for Unsubscribe.
    ///
    /// The tag is made of the channel's number and a counter, such as "3/17". It is returned even when the broker
    /// refused; then nothing is subscribed.
    ///
    /// @param queue      the queue to consume; 404 when there is none of that name.
    /// @param handler    called from Connection::Run with each delivery. It is kept until Unsubscribe, or as long as
    ///                   the connection: one that holds the connection or a channel by std::shared_ptr keeps both
    ///                   until then. Let it hold a std::weak_ptr or a reference.
    /// @param mode       who acknowledges the deliveries.
    /// @param noLocal    no messages of this connection's own; RabbitMQ takes no notice of it.
    /// @param exclusive  the only consumer of the queue; refused with 403 when there is another.
    std::string Subscribe(std::string_view queue, DeliveryHandler handler, AcknowledgeMode mode, bool noLocal,
                          bool exclusive);

    /// Subscribes with a tag of the caller's choice, which must not be empty, and must be unique on the connection: one
    /// that is in use keeps its handler and its mode, on another channel, too; on the same channel RabbitMQ closes the
    /// connection (530). With an empty tag the broker chooses one, and no delivery finds its handler. See Subscribe.
    void SubscribeRpc(std::string_view consumerTag, std::string_view queue, DeliveryHandler handler,
                      AcknowledgeMode mode, bool noLocal, bool exclusive);

    /// Releases the handler, and then cancels the consumer (`basic.cancel`). A handler that is running is released when
    /// it has returned. To be called on the channel that subscribed: on another channel, the library removes the
    /// handler but the broker keeps the consumer. An unknown tag is no error. Deliveries that are on their way are
    /// dropped, unacknowledged. On a closed channel nothing is sent, and nothing is thrown.
    void Unsubscribe(std::string_view consumerTag);

private:
    friend class Amqp::Connection;
    friend class Batch;

    AMQP_LOCAL void Token(unsigned short number);
    AMQP_LOCAL std::string GenerateTag();
    AMQP_LOCAL std::weak_ptr<void> Watch();
    /// For the connection to keep the notifier while it runs: the notifier may destroy its channel. Never null.
    AMQP_LOCAL std::shared_ptr<const std::function<void(ErrorCode&&)>> HoldNotifier() const;
    AMQP_LOCAL std::shared_ptr<Amqp::Connection> Hold() const;
    AMQP_LOCAL Amqp::Connection& Require() const;

    std::shared_ptr<Amqp::Connection> connection;
    std::shared_ptr<std::function<void(ErrorCode&&)>> errorNotifier; // null when the channel was moved from
    std::uint16_t token = 0;
    std::uint64_t tagCounter = 0;
    std::shared_ptr<void> alive; // made when it has to be seen whether something called has destroyed this channel
};

} // namespace Amqp
