// One connection: the engine that moves its octets, and who hears of what they say. Everything is composed by value,
// and nothing here knows a socket. Used by one thread at a time; only Stop may be called from another.
//
// One subject a file: Setup.cpp, ErrorPolicy.cpp, Calls.cpp, Topology.cpp, Subscribing.cpp, Publishing.cpp, Batch.cpp,
// Returning.cpp, RunLoop.cpp, Dispatch.cpp, Multipart.cpp.
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

    /// A call that awaits the broker's reply. Gives the reply, or nothing when the channel was told of an error.
    /// Throws, with nothing sent, when one of the texts is longer than AMQP can express.
    struct Request
    {
        amqp_method_number_t method;
        void* fields;
        amqp_method_number_t reply;
    };
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

    /// Gives whether anything is gathered: a socket may outlive the connection that failed on it.
    bool BeginBatch() { return writer.Gathered().Begin(session.Failure() == AMQP_STATUS_OK); }
    void EndBatch() { writer.Gathered().End(); }

private:
    // The error policy. Judge drops whom a failure concerns, and tells or throws; nobody else does. The checks only say
    // what it reaches.
    enum class Reach
    {
        Caller,            // thrown, and nothing has changed
        Channel,           // dropped, and told: the operation goes on quietly
        ChannelThatCloses, // told while it is registered still, and dropped
        Method,            // that has arrived: thrown, and its channel is dropped
        Connection         // thrown, and all channels are dropped
    };
    bool Judge(Reach reach, ErrorCode&& error, Channel* channel);
    bool CheckReply(Channel& channel, const amqp_rpc_reply_t& reply);
    bool CheckStatus(int status, Channel* channel);
    void RequireUsable();
    /// Throws when the channel's number is closed, of which its notifier is told if it does not know yet. A broker
    /// answers whatever is sent on such a number by closing the whole connection, or not at all.
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
    std::unique_ptr<Envelope> spareEnvelope; // what the next delivery is shown in
    Table clientProperties;
    timeval consumeTimeout;
    std::atomic<bool> stopRequested = false; // shared with other threads
};

/// Whole seconds and the rest, 32 bits each.
timeval ToTimeval(std::chrono::microseconds duration);

} // namespace Amqp
