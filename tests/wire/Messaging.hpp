// How most tests of messages begin and end: a channel, perhaps a consumer on it, and a polite goodbye. Scripts run on
// the broker's thread, everything else on the test's.
#pragma once

#include "Client.hpp"

#include <functional>
#include <string_view>
#include <thread>

// What goes on between opening channel 1 and closing it.
inline ScriptedBroker::Script OnChannel(ScriptedBroker::Script middle)
{
    return [middle = std::move(middle)](Dialogue& peer)
    {
        peer.Login();
        peer.OpenChannel(1);
        middle(peer);
        peer.CloseChannel(1);
        peer.CloseConnection();
    };
}

// The same for a channel that the library drops: it is not closed when it is destroyed.
inline ScriptedBroker::Script OnDroppedChannel(ScriptedBroker::Script middle)
{
    return [middle = std::move(middle)](Dialogue& peer)
    {
        peer.Login();
        peer.OpenChannel(1);
        middle(peer);
        peer.CloseConnection();
    };
}

// With channel 1 open the broker closes the connection.
inline ScriptedBroker::Script WithConnectionClosed()
{
    return OnDroppedChannel(
        [](Dialogue& peer)
        {
            peer.Send(0, ConnectionClose{.replyCode = 320, .replyText = "CONNECTION_FORCED"});
            peer.Expect(0, ConnectionCloseOk{});
        });
}

// With channel 1 open the stream ends.
inline void LoginAndEnd(Dialogue& peer)
{
    peer.Login();
    peer.OpenChannel(1);
    peer.Abandon();
}

// What goes on between opening the channels 1 and 2 and closing them.
inline ScriptedBroker::Script OnTwoChannels(ScriptedBroker::Script middle)
{
    return [middle = std::move(middle)](Dialogue& peer)
    {
        peer.Login();
        peer.OpenChannel(1);
        peer.OpenChannel(2);
        middle(peer);
        peer.CloseChannel(2);
        peer.CloseChannel(1);
        peer.CloseConnection();
    };
}

// Reads nothing meanwhile.
inline void SendHeartbeatsFor(Dialogue& peer, std::chrono::milliseconds duration)
{
    const auto end = std::chrono::steady_clock::now() + duration;
    for (; std::chrono::steady_clock::now() < end; std::this_thread::sleep_for(200ms))
    {
        peer.SendHeartbeat();
    }
}

inline void AcceptConsumer(Dialogue& peer, std::uint16_t channel = 1, bool noAck = false)
{
    const std::string tag = std::to_string(channel) + "/1";
    peer.Expect(channel, BasicConsume{.queue = "q", .consumerTag = tag, .noAck = noAck});
    peer.Send(channel, BasicConsumeOk{.consumerTag = tag});
}

// Of the consumer "1/1".
inline void AcceptCancel(Dialogue& peer)
{
    peer.Expect(1, BasicCancel{.consumerTag = "1/1"});
    peer.Send(1, BasicCancelOk{.consumerTag = "1/1"});
}

// Between accepting the consumer "1/1" on channel 1, in a mode that acknowledges, and closing the channel.
inline ScriptedBroker::Script OnConsumer(ScriptedBroker::Script middle)
{
    return OnChannel(
        [middle = std::move(middle)](Dialogue& peer)
        {
            AcceptConsumer(peer);
            middle(peer);
        });
}

// A client with one channel, whose errors are noted.
struct Client
{
    explicit Client(const ScriptedBroker& broker, int frameMax = 131072)
        : connection(Connect(broker, {}, consumeWait, frameMax)), channel(NewChannel())
    {
    }

    std::shared_ptr<Amqp::Channel> NewChannel()
    {
        return std::make_shared<Amqp::Channel>(connection, noted.Notifier());
    }

    Noted noted;
    std::shared_ptr<Amqp::Connection> connection;
    std::shared_ptr<Amqp::Channel> channel;
};

// Handlers and callbacks that note what they were given; bodies are copied, since they do not outlive the call.
struct Inbox
{
    std::vector<std::string> bodies;
    std::vector<Amqp::Envelope> envelopes; // without their bodies

    auto Handler(Amqp::Acknowledge verdict = Amqp::Ack)
    {
        return [this, verdict](const Amqp::Envelope& envelope)
        {
            Note(envelope);
            return verdict;
        };
    }

    void Note(const Amqp::Envelope& envelope)
    {
        bodies.emplace_back(envelope.ViewBody(0, envelope.Size()));
        envelopes.push_back(envelope);
        envelopes.back().SetBody(nullptr, 0);
    }
};

// What publish callbacks were told.
struct Outbox
{
    struct Returned
    {
        std::string body;
        std::string exchange;
        std::string routingKey;
        std::uint16_t replyCode;

        bool operator==(const Returned&) const = default;
    };
    std::vector<Returned> returned;

    Amqp::PublishCallback Callback()
    {
        return [this](const Amqp::Envelope& envelope, const Amqp::AckStatus& status)
        {
            returned.push_back({std::string(envelope.ViewBody(0, envelope.Size())), std::string(status.exchange),
                                std::string(status.routingKey), status.replyCode});
        };
    }
};

inline void PrintTo(const Outbox::Returned& returned, std::ostream* out)
{
    *out << "\"" << returned.body << "\" of " << returned.exchange << "/" << returned.routingKey << ", "
         << returned.replyCode;
}

// A callback whose being called is a mistake.
inline Amqp::PublishCallback Unexpected()
{
    return [](const Amqp::Envelope&, const Amqp::AckStatus&) { ADD_FAILURE() << "called for a message not returned"; };
}

// Every property there is.
inline Properties AllFourteen()
{
    return {.contentType = "type/sub",
            .contentEncoding = "gzip",
            .headers = Fields{{"key", Binary("value")}},
            .deliveryMode = std::uint8_t{1},
            .priority = std::uint8_t{5},
            .correlationId = "correlation",
            .replyTo = "reply",
            .expiration = "60000",
            .messageId = "message",
            .timestamp = 0xFFFFFFFFFFFFFFFF,
            .type = "type",
            .userId = "guest",
            .appId = "application",
            .clusterId = std::string("clu\0ster", 8)};
}

// Sets on a message what AllFourteen has, but for the headers and the delivery mode.
inline void SetTwelve(Amqp::MetaData& message)
{
    message.ContentType("type/sub");
    message.ContentEncoding("gzip");
    message.Priority(5);
    message.CorrelationId("correlation");
    message.ReplyTo("reply");
    message.Expiration("60000");
    message.MessageId("message");
    message.TimeStamp(0xFFFFFFFFFFFFFFFF);
    message.Type("type");
    message.UserId("guest");
    message.ApplicationId("application");
    message.ClusterId(std::string("clu\0ster", 8));
}

// The properties of a message published as plain text.
inline Properties PlainProperties(std::optional<std::string> messageId = {})
{
    return {.contentType = "text/plain", .deliveryMode = std::uint8_t{2}, .messageId = std::move(messageId)};
}
