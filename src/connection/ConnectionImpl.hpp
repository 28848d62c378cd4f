// What a connection is made of: rabbitmq-c's state, which it owns, and everything known about it. Used by one
// thread at a time; only the stop flag may be set from another.
//
// One subject a file: Setup.cpp, ErrorPolicy.cpp, ChannelRegistry.cpp, Topology.cpp, Subscriptions.cpp,
// Publishing.cpp, Writing.cpp, Batch.cpp, Returns.cpp, RunLoop.cpp, Dispatch.cpp, Multipart.cpp.
#pragma once

#include "connection/Gathering.hpp"
#include "connection/MessageFrames.hpp"
#include "connection/OutgoingMessage.hpp"
#include "connection/PeerWatch.hpp"
#include "connection/ReceivedEnvelope.hpp"
#include "connection/Subscription.hpp"
#include "values/RabbitMq.hpp"

#include <amqp/Channel.hpp>
#include <amqp/Connection.hpp>
#include <amqp/ErrorCode.hpp>
#include <amqp/Export.hpp>
#include <amqp/Table.hpp>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <sys/time.h>
#include <unordered_map>
#include <vector>

namespace Amqp
{

class AMQP_LOCAL Connection::ConnectionImpl
{
public:
    ConnectionImpl(const Table& properties, std::chrono::microseconds timeout);
    ~ConnectionImpl();
    ConnectionImpl(const ConnectionImpl&) = delete;
    ConnectionImpl& operator=(const ConnectionImpl&) = delete;

    using envelope_deleter_t = EnvelopeDeleter;

    struct Login
    {
        const char* virtualHost;
        std::chrono::seconds heartbeat;
        int frameMax;
        amqp_sasl_method_enum method;
        const char* user; // the identity, with SASL EXTERNAL
        const char* password;
    };
    void OpenTcp(const char* host, unsigned short port);
    void OpenTls(const char* host, unsigned short port);
    void LogIn(const Login& login);
    const Table& Tags() const { return clientProperties; }

    // The error policy. What belongs to a channel goes to its notifier and gives false; what belongs to the
    // connection is thrown. Either way the registry has forgotten who is affected. The notifier may destroy its
    // channel: do not touch the channel after false.
    bool CheckReply(Channel& channel, const amqp_rpc_reply_t& reply);
    bool CheckStatus(int status, Channel* channel);
    /// Throws when the connection has failed for good.
    void RequireUsable();
    /// Throws when the channel's number is closed, which its notifier has been told already. A broker answers whatever
    /// is sent on such a number by closing the whole connection, or not at all.
    void RequireNotClosed(const Channel& channel) const
    {
        if (IsClosed(channel.Token()))
        {
            RefuseClosed();
        }
    }

    /// Makes one call that awaits the broker's reply, and checks the reply. Gives what the call gave, valid until the
    /// next call or Run; null when the channel was told of an error. Throws, with nothing sent and the channels as
    /// they were, when one of the texts is longer than AMQP can express.
    template <typename Request>
    auto Call(Channel& channel, std::initializer_list<std::string_view> texts, Request request)
    {
        RequireUsable();
        RequireNotClosed(channel);
        RequireSendable(texts);
        // What earlier calls brought would pile up in an application that makes many and never runs the loop.
        amqp_maybe_release_buffers(State());
        const Gathering::Pause pause(gathering);
        const auto answer = request(State(), channel.Token());
        return CheckReply(channel, amqp_get_rpc_reply(State())) ? answer : nullptr;
    }

    void RegisterChannel(Channel& channel);
    void UnregisterChannel(const Channel& channel);

    void Publish(Channel& channel, std::string_view exchange, std::string_view routingKey, const Envelope& envelope,
                 PublishCallback&& callback);
    void Subscribe(Channel& channel, std::string_view consumerTag, DeliveryHandler handler, std::string_view queue,
                   AcknowledgeMode mode, bool noLocal, bool exclusive);
    void Unsubscribe(Channel& channel, std::string_view consumerTag);

    std::optional<bool> Run() { return Run(consumeTimeout); }
    std::optional<bool> Run(timeval wait);
    void Stop();

    amqp_connection_state_t State() const { return state.get(); }
    /// Gives whether anything is gathered: a socket may outlive the connection that failed on it.
    bool BeginBatch() { return gathering.Begin(fatalStatus == AMQP_STATUS_OK); }
    void EndBatch() { gathering.End(); }

private:
    struct StateDeleter
    {
        void operator()(amqp_connection_state_t owned) const { amqp_destroy_connection(owned); }
    };

    int Write(std::uint16_t channel, const OutgoingMessage& message);
    int WriteMessage(std::uint16_t channel, const OutgoingMessage& message);
    int WriteDirectly(MessageFrames& frames);
    int HandOver(std::span<std::string_view> pieces, bool more);
    int WriteThroughRabbitMqC(std::uint16_t channel, const OutgoingMessage& message);
    int WriteAtOnce(std::uint16_t channel, const OutgoingMessage& message);
    int WriteFrameByFrame(std::uint16_t channel, const OutgoingMessage& message);
    int WriteFrame(const amqp_frame_t& frame, std::size_t octets);
    /// An answer that the broker waits for, and after which nothing may follow: not held back by a batch.
    void SendAtOnce(std::uint16_t channel, amqp_method_number_t method, void* fields);
    int GiveUpPeer();
    /// Whether something small can be written without waiting for a peer that is gone.
    bool PeerListens();

    [[noreturn]] static void RefuseClosed();
    static void RequireSendable(std::initializer_list<std::string_view> texts);
    /// After a failure: whether something that came before it waits to be handled.
    bool HasReadable() const;
    void NoteFailure(int status);
    void NoteFailure(std::uint16_t number, const amqp_rpc_reply_t& reply);
    void SayGoodbye();

    Channel* FindChannel(std::uint16_t number) const;
    void MarkClosed(std::uint16_t number, bool closed);
    bool IsClosed(std::uint16_t number) const { return number < closedChannels.size() && closedChannels[number]; }

    void ReleaseBuffers();
    amqp_rpc_reply_t Consume(amqp_envelope_t& delivery, const timeval* wait);
    bool HandleFrame(const timeval* wait);
    bool HandleMethod(const amqp_frame_t& frame, Channel& channel);
    void HandleChannelClose(std::uint16_t number, Channel& channel);
    void HandleReturn(const amqp_basic_return_t& method, Channel& channel);
    void SkipContent(std::uint16_t number);
    void AnswerConnectionClose();

    void Dispatch(const ReceivedEnvelope& received);
    void Deliver(Subscription& subscription, const ReceivedEnvelope& received);
    void Answer(const amqp_envelope_t& delivery, Acknowledge verdict);

    std::unique_ptr<amqp_connection_state_t_, StateDeleter> state;
    Subscriptions subscriptions;
    const Subscriptions::value_type* latestConsumer = nullptr; // to which something was delivered
    std::map<std::uint64_t, PublishCallback> pendingReturns;
    std::unordered_map<std::uint16_t, Channel*> channels;
    Table clientProperties;
    std::uint64_t publishSequence = 0;
    timeval consumeTimeout;
    std::uint64_t steps = 0;        // of the run loop
    ReceivedEnvelope spareEnvelope; // what the next step reads into, if there is one
    std::uint16_t lastChannelNumber = 0;
    std::uint16_t readChannel = 0; // on which the latest step read something
    std::size_t frameMax = 0;      // as the login settled it
    bool plainTcp = false;         // what the socket takes goes out as it is
    PeerWatch peer;
    Gathering gathering;
    int fatalStatus = AMQP_STATUS_OK;        // what ended the connection: every use repeats it
    std::atomic<bool> stopRequested = false; // shared with other threads
    std::vector<bool> closedChannels;        // by number: what the broker has closed, or has been asked to close
};

/// Whole seconds and the rest, as rabbitmq-c takes a wait.
timeval ToTimeval(std::chrono::microseconds duration);

} // namespace Amqp
