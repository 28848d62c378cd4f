/// @file
/// One connection to a broker. It owns the socket and everything known about it; channels share it. Nothing is
/// locked: a connection and its channels belong to one thread at a time. Only Stop may be called from another.
#pragma once

#include <amqp/AckStatus.hpp>
#include <amqp/Acknowledge.hpp>
#include <amqp/ExchangeType.hpp>
#include <amqp/Export.hpp>
#include <amqp/Table.hpp>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace Amqp
{

class Channel;

/// A connection that is logged in to one virtual host of a broker.
///
/// It is logged in as soon as it is constructed, and everything is done with it through Channel objects, each of
/// which holds it by std::shared_ptr. There is no reconnect: once the broker has closed it, or the socket has
/// failed, the connection has failed and can only be destroyed, together with its channels. Until then every use fails:
/// Run and calls throw ErrorCode (`Library`; Run also `Ssl`, over TLS), and a publish reports it to the channel's
/// notifier. The text is rabbitmq-c's for the failure. After a close by the broker later uses do not repeat the
/// broker's text: they say "connection closed unexpectedly". Run still handles first what had arrived before the
/// failure.
///
/// The connection starts no thread. What the broker sends is handled when Run is called, on the caller's thread.
/// Heartbeats are sent only from inside Run and calls, when nothing was sent for half an interval; what is published
/// counts as well. An application that does none of these for two intervals is disconnected by the broker.
///
/// With heartbeats a broker that has sent nothing for two intervals counts as gone. Run then returns `std::nullopt`
/// once; the next Run throws. A call throws ErrorCode (`Library`, 1), and a publish reports to the channel's notifier
/// (`Library`, 15), both with rabbitmq-c's text for AMQP_STATUS_HEARTBEAT_TIMEOUT. Without heartbeats a call, and a
/// publish that finds the socket full, waits until the system finds the connection broken.
///
/// While a call awaits its reply, or a publish waits for room in the socket, whatever arrives is kept in memory for the
/// next Run. That is at most what the broker sends meanwhile, which no prefetch limit bounds.
class AMQP_EXPORT Connection
{
public:
    /// Connects over plain TCP and logs in with user and password (SASL PLAIN).
    ///
    /// @param host, port   the broker. This and the other texts must be zero-terminated; none is kept.
    /// @param user, password   the credentials. They appear in no text of an error.
    /// @param virtualHost  the part of the broker to work in; RabbitMQ's first one is "/".
    /// @param properties   client properties for the broker to show, copied; none are sent when empty.
    /// @param timeout      how long one Run waits for something to happen, less than 2^31 s; 0 is without limit. It
    ///                     does not bound connecting and logging in: those take as long as the system and rabbitmq-c
    ///                     let them.
    /// @param heartbeat    interval in seconds, 0 to 65535; 0 is none.
    /// @param frameMax     the largest frame to offer, in bytes; the broker may lower it. rabbitmq-c raises anything
    ///                     below 4096, 0 included, to 4096. 131072 is what RabbitMQ offers.
    ///
    /// @throws std::runtime_error  the socket could not be opened ("Unable to open a AMQP TCP socket"), or rabbitmq-c
    ///                             has no memory for the connection ("Unable to instanciate new AMQP logical
    ///                             connection", "... TCP connection"), or the system has no descriptor for Stop
    ///                             ("Unable to create an event descriptor").
    /// @throws ErrorCode           the login failed: `ConnectionClosed` with the broker's code and text (403 for wrong
    ///                             credentials, 530 for an unknown virtual host), or `Library` when an argument is
    ///                             out of range, the properties cannot be sent, or the broker does not answer.
    ///
    /// Calls amqp_socket_open and amqp_login or amqp_login_with_properties.
    Connection(std::string_view host, unsigned short port, std::string_view user, std::string_view password,
               std::string_view virtualHost, const Table& properties, std::chrono::microseconds timeout,
               std::chrono::seconds heartbeat, int frameMax);

    /// Connects over TLS and logs in with an identity (SASL EXTERNAL); otherwise as the other constructor, with the
    /// texts "Unable to open a AMQP SSL TCP socket" and "Unable to instanciate new AMQP SSL TCP connection".
    ///
    /// rabbitmq-c's own trust settings apply. In its version 0.11 they verify the broker's certificate against an
    /// empty trust store, so that every broker is refused.
    Connection(std::string_view host, unsigned short port, std::string_view identity, std::string_view virtualHost,
               const Table& properties, std::chrono::microseconds timeout, std::chrono::seconds heartbeat,
               int frameMax);

    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Closes the connection (`connection.close`, reply code 200), awaits the reply, and releases handlers and
    /// callbacks. If the connection has failed, sends `connection.close` only if that cannot block, and awaits no
    /// reply. If the broker no longer replies, waits two heartbeat intervals, and without heartbeats for the socket to
    /// fail.
    virtual ~Connection();

    /// The client properties given at construction; valid as long as the connection.
    [[nodiscard]] const Table& Tags() const;

    /// Waits for one event, as long as the constructor's `timeout`, and handles it on this thread.
    ///
    /// Returns `true` when an event was handled, `false` when the loop should end (Stop was called, or the broker
    /// closed the connection), and `std::nullopt` when the wait ended without an event. An application loops while the
    /// result is empty or `true`: `while (connection.Run().value_or(true))`.
    ///
    /// A message is an event when the last of it has arrived. A wait that is over in the middle of a message ends; a
    /// later Run takes the rest. Stop ends the wait, a signal does not.
    ///
    /// Handlers, publish callbacks and error notifiers are called from here and may use the connection's
    /// channels, but must neither call Run nor drop the last reference to the connection. What they throw comes out of
    /// here: of a handler as it is; of a callback or a notifier as a plain ErrorCode or std::runtime_error with its
    /// text when it is derived from one of them, and the channel is dropped, else as it is.
    ///
    /// If the broker closes a channel in the middle of a delivery, returns `false`: the channel is then closed, nothing
    /// is reported to its notifier, and the loop may be run on.
    ///
    /// @throws ErrorCode              the socket failed, or the broker broke the protocol: the connection has failed.
    ///                                Code: rabbitmq-c's status without its sign. With `Server`, 2, the broker sent a
    ///                                method that has no place here (such as `basic.cancel` to a client that announced
    ///                                to understand it): only the channel it names is dropped.
    /// @throws std::bad_function_call a delivery for a subscription whose handler is empty; in mode Explicit it is
    ///                                rejected without requeue. The connection is usable.
    /// @throws std::bad_alloc         no memory for a delivery, or to join the parts of a large body; that part stays
    ///                                unacknowledged.
    /// @throws std::invalid_argument  a returned message carries no message id, or one that is no number; that return
    ///                                is lost, the connection is usable.
    /// @throws std::out_of_range      a returned message's id exceeds 64 bits; that return is lost, the connection is
    ///                                usable.
    /// @throws std::bad_variant_access   a part of a large body has a hash of a wrong type; the delivery stays
    ///                                unacknowledged, the connection is usable.
    ///
    /// Frames come from amqp_handle_input.
    std::optional<bool> Run() const;

    /// Waits at most `timeout` instead; 0 is without limit, and 1 microsecond only looks. See Run(). A negative wait
    /// throws ErrorCode (`Library`, rabbitmq-c's AMQP_STATUS_INVALID_PARAMETER) and drops all channels (see Channel);
    /// nothing is sent, and the connection stays usable.
    std::optional<bool> Run(std::chrono::microseconds timeout) const;

    /// Makes the next Run return `false` at once, one time. May be called from any thread and from delivery
    /// handlers.
    ///
    /// Ends the wait of a Run that is going on: that Run returns `std::nullopt` at once, and the next one `false`. It
    /// ends neither a handler nor a call or a publish that waits.
    void Stop() const;

private:
    friend class Channel;
    friend class Batch;
    class ConnectionImpl;

    AMQP_LOCAL void RegisterChannel(Channel& channel);
    AMQP_LOCAL void UnregisterChannel(Channel& channel);

    AMQP_LOCAL void DeclareExchange(Channel& channel, std::string_view name) const;
    AMQP_LOCAL void DeclareExchange(Channel& channel, std::string_view name, ExchangeType type, bool durable,
                                    bool internal, bool autoDelete) const;
    AMQP_LOCAL std::string DeclareQueue(Channel& channel, bool durable, bool exclusive, bool autoDelete) const;
    AMQP_LOCAL void DeclareQueue(Channel& channel, std::string_view name) const;
    AMQP_LOCAL void DeclareQueue(Channel& channel, std::string_view name, bool durable, bool exclusive,
                                 bool autoDelete) const;
    AMQP_LOCAL void BindExchange(Channel& channel, std::string_view destination, std::string_view source,
                                 std::string_view routingKey) const;
    AMQP_LOCAL void UnbindExchange(Channel& channel, std::string_view destination, std::string_view source,
                                   std::string_view routingKey) const;
    AMQP_LOCAL void BindQueue(Channel& channel, std::string_view queue, std::string_view exchange,
                              std::string_view routingKey) const;
    AMQP_LOCAL void UnbindQueue(Channel& channel, std::string_view queue, std::string_view exchange,
                                std::string_view routingKey) const;
    AMQP_LOCAL void DestroyExchange(Channel& channel, std::string_view name, bool ifUnused) const;
    AMQP_LOCAL void DestroyQueue(Channel& channel, std::string_view name, bool ifEmpty, bool ifUnused) const;
    AMQP_LOCAL void PurgeQueue(Channel& channel, std::string_view name) const;

    AMQP_LOCAL void Publish(Channel& channel, std::string_view exchange, std::string_view routingKey,
                            const Envelope& envelope, PublishCallback&& callback) const;
    AMQP_LOCAL void Subscribe(Channel& channel, std::string_view consumerTag, DeliveryHandler handler,
                              std::string_view queue, AcknowledgeMode mode, bool noLocal, bool exclusive) const;
    AMQP_LOCAL void Unsubscribe(Channel& channel, std::string_view consumerTag) const;
    AMQP_LOCAL bool BeginBatch() const;
    AMQP_LOCAL void EndBatch() const;

    std::unique_ptr<ConnectionImpl> impl;
};

} // namespace Amqp
