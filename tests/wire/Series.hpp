// A large body in parts, as it looks on the wire: the headers of a part, and how a part is delivered.
#pragma once

#include "Messaging.hpp"

#include <array>

// Of "0123456789", as sha256sum has it.
inline const std::string tenBytesHash = "84d89877f0d4041efb6bf91a16f0248f2fd573e6af05c19f96bedb9f882f7882";

inline const std::string flagHeader = "x-vnd.zorat.multipart";
inline const std::string hashHeader = "x-vnd.zorat.multipart.hash";
inline const std::string indexHeader = "x-vnd.zorat.multipart.index";
inline const std::string totalHeader = "x-vnd.zorat.multipart.total";

inline Fields PartHeaders(std::uint64_t index, std::uint64_t total, std::string_view hash = tenBytesHash)
{
    return {{flagHeader, Bool(true)},
            {hashHeader, Binary(hash)},
            {indexHeader, UInt64(index)},
            {totalHeader, UInt64(total)}};
}

// What is told of a message to be delivered; its number comes from the order in which they are sent.
struct Message
{
    Fields headers;
    std::string body;
    std::string consumerTag = "1/1";
    std::uint16_t channel = 1;
};

// One of the three parts of "0123456789".
inline Message Third(std::size_t index, std::string_view hash = tenBytesHash)
{
    constexpr std::array<std::string_view, 3> bodies{"0123", "4567", "89"};
    return {.headers = PartHeaders(index, 3, hash), .body = std::string(bodies.at(index))};
}

// Delivers with ascending delivery tags.
class Sender
{
public:
    explicit Sender(Dialogue& dialogue) : peer(dialogue) {}

    void Deliver(const Message& message)
    {
        Properties properties{.contentType = "text/plain", .headers = message.headers};
        properties.messageId = std::to_string(++deliveryTag); // to tell one part's properties from another's
        peer.Deliver(message.channel, {.consumerTag = message.consumerTag, .deliveryTag = deliveryTag}, properties,
                     message.body);
    }

    void DeliverAcked(const Message& message)
    {
        Deliver(message);
        peer.Expect(message.channel, BasicAck{.deliveryTag = deliveryTag});
    }

    void DeliverNacked(const Message& message, bool requeue = false)
    {
        Deliver(message);
        peer.Expect(message.channel, BasicNack{.deliveryTag = deliveryTag, .requeue = requeue});
    }

private:
    Dialogue& peer;
    std::uint64_t deliveryTag = 0;
};

// A script with one consumer, "1/1" on channel 1, whose deliveries a Sender makes.
inline ScriptedBroker::Script OnSender(std::function<void(Sender&)> middle)
{
    return OnConsumer(
        [middle = std::move(middle)](Dialogue& peer)
        {
            Sender sender(peer);
            middle(sender);
        });
}

// A client whose consumer notes what it is given.
struct Receiver : Client
{
    explicit Receiver(const ScriptedBroker& broker, Amqp::AcknowledgeMode mode = Amqp::Explicit,
                      Amqp::Acknowledge verdict = Amqp::Ack)
        : Client(broker)
    {
        channel->Subscribe("q", inbox.Handler(verdict), mode, false, false);
    }

    void Run(std::size_t steps)
    {
        for (std::size_t step = 1; step <= steps; ++step)
        {
            ASSERT_EQ(connection->Run(), std::optional(true)) << "step " << step << " of " << steps;
        }
    }

    Inbox inbox;
};
