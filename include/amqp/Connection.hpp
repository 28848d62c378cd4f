/// @file
/// One connection to a broker. A connection owns the socket and everything known about it; channels share the
/// connection. Nothing is locked: a connection and its channels belong to one thread at a time. Only Stop may be called
/// from another thread.
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
/// A connection is logged in when its constructor returns. All operations use Channel objects, each of which holds the
/// connection by std::shared_ptr. The library does not reconnect: if the broker closes the connection, or the socket
/// fails, the connection has failed. It can then only be destroyed, together with its channels. Until then every use
/// fails. Run and calls throw ErrorCode (`Library`; Run also `Ssl`, over TLS), and a publish reports the error to the
/// channel's notifier. The text is rabbitmq-c's text for the failure. If the broker closed the connection, later uses
/// do not repeat the broker's text: they say "connection closed unexpectedly", unless a publish had failed before. Run
/// still handles first what had arrived before the failure.
///
/// The connection starts no thread. Run handles what the broker sends, on the caller's thread. Only Run and calls send
/// heartbeats, when nothing was sent for half an interval; a publish counts as a heartbeat. If an application does none
/// of these for two intervals, the broker disconnects it.
///
/// With heartbeats, the connection fails when the broker has sent nothing for two intervals. Run then returns
/// `std::nullopt` once; the next Run throws. A call throws ErrorCode (`Library`, 1), and a publish reports to the
/// channel's notifier (`Library`, 15), both with rabbitmq-c's text for AMQP_STATUS_HEARTBEAT_TIMEOUT. Without
/// heartbeats a call, and a publish that finds the socket full, waits until the system finds the connection broken.
///
/// While a call awaits its reply, or a publish waits for room in the socket, the library keeps what arrives in memory
/// for the next Run. That is at most what the broker sends meanwhile, which no prefetch limit bounds.
class AMQP_EXPORT Connection
{
public:
    /// Connects over plain TCP and logs in with user and password (SASL PLAIN).
    ///
    /// @param host, port the broker. Host, user, password and virtual host must be zero-terminated; the library keeps
    ///              none of these strings.
    /// @param user, password the credentials. No error text contains them.
    /// @param virtualHost  the part of the broker to work in; RabbitMQ's first virtual host is "/".
    /// @param properties   client properties for the broker to show, copied. If the table is empty, none are sent.
    /// @param timeout      how long one Run waits for an event, less than 2^31 s; 0 is without limit. It does not limit
    ///                     connecting and logging in, which take as long as the system and rabbitmq-c let them.
    /// @param heartbeat    the interval in seconds, 0 to 65535; 0 turns heartbeats off.
    /// @param frameMax     the largest frame to offer, in bytes; the broker may lower it. rabbitmq-c raises anything
    ///                     below 4096, 0 included, to 4096. RabbitMQ offers 131072.
    ///
    /// @throws std::runtime_error  the socket could not be opened ("Unable to open a AMQP TCP socket"), rabbitmq-c has
    ///                             no memory for the connection ("Unable to instanciate new AMQP logical connection",
    ///                             "... TCP connection"), or the system has no descriptor for Stop
    ///                             ("Unable to create an event descriptor").
    /// @throws ErrorCode           the login failed. The error is `ConnectionClosed` with the broker's code and text
    ///                             (403 for wrong credentials, 530 for an unknown virtual host). Or it is `Library`: an
    ///                             argument is out of range, the properties cannot be sent, or the broker does not
    ///                             reply.
    ///
    /// Calls amqp_socket_open and amqp_login or amqp_login_with_properties.
    Connection(std::string_view host, unsigned short port, std::string_view user, std::string_view password,
               std::string_view virtualHost, const Table& properties, std::chrono::microseconds timeout,
               std::chrono::seconds heartbeat, int frameMax);

    /// Connects over TLS and logs in with an identity (SASL EXTERNAL). Otherwise the same as the other constructor,
    /// with the texts "Unable to open a AMQP SSL TCP socket" and "Unable to instanciate new AMQP SSL TCP connection".
    ///
    /// rabbitmq-c's own trust settings apply. rabbitmq-c 0.11 verifies the broker's certificate against an empty trust
    /// store, so it refuses every broker.
    Connection(std::string_view host, unsigned short port, std::string_view identity, std::string_view virtualHost,
               const Table& properties, std::chrono::microseconds timeout, std::chrono::seconds heartbeat,
               int frameMax);

    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Closes the connection (`connection.close`, reply code 200), awaits the reply, and releases handlers and
    /// callbacks. If the connection has failed, sends `connection.close` only if that cannot block, and awaits no
    /// reply. If the broker does not reply, waits two heartbeat intervals, or, without heartbeats, until the socket
    /// fails.
    virtual ~Connection();

    /// Returns the client properties given at construction. The reference is valid as long as the connection.
    [[nodiscard]] const Table& Tags() const;

    /// Waits for one event, at most the constructor's `timeout`, and handles the event on this thread.
    ///
    /// Returns `true` if an event was handled, and `std::nullopt` if the wait ended without an event. Returns `false`
    /// if the loop should end: Stop was called, or the broker closed the connection. An application loops while the
    /// result is empty or `true`: `while (connection.Run().value_or(true))`.
    ///
    /// A message is an event when its last frame has arrived. A wait may end in the middle of a message; a later Run
    /// then receives the rest. Stop ends the wait, a signal does not.
    ///
    /// Run calls handlers, publish callbacks and error notifiers. They may use the connection's channels, but must
    /// neither call Run nor drop the last reference to the connection. An exception from a handler propagates out of
    /// Run unchanged. So does an exception from a callback or notifier, unless it is an ErrorCode or
    /// std::runtime_error, or derived from them. In that case Run throws a plain ErrorCode or std::runtime_error with
    /// the same text, and drops the channel.
    ///
    /// If the broker closes a channel in the middle of a delivery, returns `false`. The channel is then closed, and
    /// nothing is reported to its notifier. The loop may be run on.
    ///
    /// @throws ErrorCode              the socket failed, or the broker broke the protocol: the connection has failed.
    ///                                The code is rabbitmq-c's status without its sign. With `Server`, 2, the broker
    ///                                sent a method that has no place here, such as `basic.cancel` to a client that
    ///                                announced to understand it. Only the channel of the method is then dropped.
    /// @throws std::bad_function_call a delivery arrived for a subscription whose handler is empty; in mode Explicit it
    ///                                is rejected. The connection is usable.
    /// @throws std::bad_alloc         there is no memory for a delivery, or to join the parts of a large body; the
    ///                                delivery stays unacknowledged.
    /// @throws std::invalid_argument  the message id of a returned message is missing or is no number; that return is
    ///                                lost, the connection is usable.
    /// @throws std::out_of_range      the message id of a returned message exceeds 64 bits; that return is lost, the
    ///                                connection is usable.
    /// @throws std::bad_variant_access   the hash of a part of a large body has a wrong type; the delivery stays
    ///                                   unacknowledged, the connection is usable.
    ///
    /// Takes frames from amqp_handle_input.
    std::optional<bool> Run() const;

    /// Waits at most `timeout` instead; 0 is without limit, and 1 microsecond only looks. See Run(). If the wait is
    /// negative, throws ErrorCode (`Library`, rabbitmq-c's AMQP_STATUS_INVALID_PARAMETER) and drops all channels (see
    /// Channel). Nothing is sent, and the connection stays usable.
    std::optional<bool> Run(std::chrono::microseconds timeout) const;

    /// Makes the next Run return `false` at once, one time. Any thread may call Stop, and so may delivery handlers.
    ///
    /// Ends the wait of a running Run: that Run returns `std::nullopt` at once, and the next Run returns `false`. Stop
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
