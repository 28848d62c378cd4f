// Sends and receives many large messages: a client whose heartbeat interval a test chooses, and the broker's steps.
#pragma once

#include "LoginOptions.hpp"
#include "Messaging.hpp"

inline constexpr std::size_t mebibyte = std::size_t{1} << 20;

// A client whose handler notes the numbers of the deliveries.
struct CountingClient
{
    explicit CountingClient(const ScriptedBroker& broker) : CountingClient(LogIn(broker, {.heartbeat = 1s})) {}

    explicit CountingClient(std::shared_ptr<Amqp::Connection> loggedIn)
        : connection(std::move(loggedIn)), channel(std::make_shared<Amqp::Channel>(connection, noted.Notifier()))
    {
    }

    auto Handler()
    {
        return [this](const Amqp::Envelope& envelope)
        {
            EXPECT_EQ(envelope.Size(), std::stoul(std::string(envelope.Type())));
            numbers.emplace_back(envelope.MessageId());
            return Amqp::Ack;
        };
    }

    Noted noted;
    std::vector<std::string> numbers;
    std::shared_ptr<Amqp::Connection> connection;
    std::shared_ptr<Amqp::Channel> channel;
};

// Delivers numbered messages to a CountingClient.
inline void DeliverNumbers(Dialogue& peer, std::uint64_t first, std::uint64_t last, std::size_t size)
{
    const std::string body(size, 'd');
    for (std::uint64_t tag = first; tag <= last; ++tag)
    {
        peer.Deliver(1, {.consumerTag = "1/1", .deliveryTag = tag},
                     {.messageId = std::to_string(tag), .type = std::to_string(size)}, body);
    }
}

inline std::vector<std::string> NumbersTo(std::uint64_t count)
{
    std::vector<std::string> numbers;
    for (std::uint64_t number = 1; number <= count; ++number)
    {
        numbers.push_back(std::to_string(number));
    }
    return numbers;
}

// Returns the payloads of a message's body frames. Reading them may take long, so the broker sends heartbeats
// meanwhile.
inline std::vector<std::string> ReceiveBodyFrames(Dialogue& peer, std::size_t size)
{
    peer.Expect(1, BasicPublish{.routingKey = "q"});
    EXPECT_EQ(peer.ReadFrame().type, headerFrame);
    std::vector<std::string> payloads;
    for (std::size_t received = 0; received < size; received += payloads.back().size())
    {
        Frame frame = peer.ReadFrame();
        EXPECT_EQ(frame.type, bodyFrame);
        if (received / mebibyte != (received + frame.payload.size()) / mebibyte)
        {
            peer.SendHeartbeat();
        }
        payloads.push_back(std::move(frame.payload));
    }
    return payloads;
}
