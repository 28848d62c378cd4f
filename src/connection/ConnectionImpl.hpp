// Implements one connection. ConnectionImpl owns the engine, which moves the bytes, and the registries of channels,
// consumers and callbacks. Connection owns the ConnectionImpl. Nothing here knows a socket. One thread at a time may
// use a ConnectionImpl; only Stop may be called from another thread.
//
// Each subject has a source file: Setup.cpp, ErrorPolicy.cpp, Calls.cpp, Topology.cpp, Subscribing.cpp, Publishing.cpp,
// Batch.cpp, Returning.cpp, RunLoop.cpp, Dispatch.cpp, Multipart.cpp.
#pragma once

#include "connection/Channels.hpp"
#include "connection/Consumers.hpp"
#include "connection/Returns.hpp"
#include "engine/Inbound.hpp"
#include "engine/Receiver.hpp"
#include "engine/Session.hpp"
#include "engine/Writer.hpp"

#include <amqp/Channel.hpp>
#include <amqp/Connection.hpp>
#include <amqp/ErrorCode.hpp>
#include <amqp/Export.hpp>
#include <amqp/Table.hpp>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string_view>
#include <sys/time.h>

namespace Amqp
{

class AMQP_LOCAL Connection::ConnectionImpl
{
public:
    ConnectionImpl(const Table& properties, std::chrono::microseconds timeout);
    ~ConnectionImpl();
    ConnectionImpl(const ConnectionImpl&) = delete;
    ConnectionImpl& operator=(const ConnectionImpl&) = delete;

    void OpenTcp(const char* host, unsigned short port);
    void OpenTls(const char* host, unsigned short port);
    void LogIn(const Login& login);
    const Table& Tags() const { return clientProperties; }

    /// The method that a call sends, and the method that its reply must have.
    struct Request
    {
        amqp_method_number_t method;
        void* fields;
        amqp_method_number_t reply;
    };
    /// Sends the request and waits for the broker's reply. Returns the reply, or nothing if an error was reported to
    /// the channel's notifier. If one of the `texts` exceeds 255 bytes, sends nothing, drops all channels and throws.
    std::optional<Event> Call(Channel& channel, std::initializer_list<std::string_view> texts, const Request& request);

    void RegisterChannel(Channel& channel);
    void UnregisterChannel(const Channel& channel) noexcept;

    void Publish(Channel& channel, std::string_view exchange, std::string_view routingKey, const Envelope& envelope,
                 PublishCallback&& callback);
    void Subscribe(Channel& channel, std::string_view consumerTag, DeliveryHandler handler, std::string_view queue,
                   AcknowledgeMode mode, bool noLocal, bool exclusive);
    void Unsubscribe(Channel& channel, std::string_view consumerTag);

    std::optional<bool> Run() { return Run(consumeTimeout); }
    std::optional<bool> Run(timeval wait);
    void Stop();

    /// Begins a batch. Returns whether messages are gathered. Begin must know whether the session has failed, because
    /// the socket may still be open after a failure.
    bool BeginBatch() { return writer.Gathered().Begin(session.Failure() == AMQP_STATUS_OK); }
    void EndBatch() { writer.Gathered().End(); }

private:
    // The error policy. Judge drops the channels that an error concerns, and reports or throws the error. The caller of
    // Judge chooses the reach.
    enum class Reach
    {
        Caller,            // throw; drop no channel
        Channel,           // drop the channel, then report to its notifier; the operation returns normally
        ChannelThatCloses, // report first, then drop: a notifier that destroys the channel still sends channel.close
        Method,            // an unexpected method arrived: drop its channel and throw
        Connection         // drop all channels and throw
    };
    // Judge returns false if it reported the error. The checks return true on success, and otherwise call Judge.
    bool Judge(Reach reach, ErrorCode&& error, Channel* channel);
    bool CheckReply(Channel& channel, const amqp_rpc_reply_t& reply);
    bool CheckStatus(int status, Channel* channel);
    void RequireUsable();
    /// Throws if the channel is closed. If the broker's channel.close is still parked, first reports the close to the
    /// notifier. If we sent anything on a closed channel, the broker would close the connection, or never reply.
    void RequireNotClosed(Channel& channel);
    void FindParkedClose(std::uint16_t number);

    amqp_rpc_reply_t Ask(std::uint16_t number, const Request& request, Event& reply);
    void SayGoodbye();

    int Next(Event& event, Receiver::Wait& wait);
    static bool IsIncompleteDelivery(const Event& event);
    bool Handle(Event& event);
    bool HandleOn(Channel& channel, Event& event);
    bool HandleUnregistered(const Event& event);
    bool HandleConnectionClose();
    bool FindClose(std::uint16_t number);
    void HandleReturn(const Event& event, Channel& channel);

    void Dispatch(Event& delivery);
    void Deliver(Subscription& subscription, Event& delivery);
    void Settle(const Event& delivery, Acknowledge verdict);

    Session session;
    Inbound inbound{session};
    Writer writer{session, inbound};
    Receiver receiver{session, inbound, writer};
    Channels channels;
    Consumers consumers;
    Returns returns;
    std::unique_ptr<Envelope> spareEnvelope; // reused for every delivery
    Table clientProperties;
    timeval consumeTimeout;
    std::atomic<bool> stopRequested = false; // Stop sets the flag from any thread
};

/// Splits a duration into whole seconds, which must fit 32 bits, and the remaining microseconds.
timeval ToTimeval(std::chrono::microseconds duration);

} // namespace Amqp
