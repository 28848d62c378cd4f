// What the tests of batches share: a client whose socket is looked at, and a script that reads what it publishes.
#pragma once

#include <cstddef>
#include <string>

#include "ClientSocket.hpp"
#include "Messaging.hpp"

constexpr std::size_t firstNumber = 1000;

// Publishes numbers, all of the same length, and knows what the kernel does with them.
class WatchedClient : public Client
{
public:
    explicit WatchedClient(const ScriptedBroker& broker, int frameMax = 131072)
        : Client(broker, frameMax), socket(SocketTo(broker.Port()))
    {
    }

    int Socket() const { return socket; }
    int HeldBack() const { return ::HeldBack(socket); }
    bool IsCorked() const { return ::IsCorked(socket); }

    // Soon: a peer that is behind has to make room first. The kernel itself gives up what a batch holds after 200 ms.
    [[nodiscard]] bool HoldsNothingBack() const
    {
        for (const auto start = std::chrono::steady_clock::now(); HeldBack() > 0;)
        {
            if (std::chrono::steady_clock::now() - start > 100ms)
            {
                return false;
            }
        }
        return true;
    }

    void Publish() { channel->Publish("", "q", std::to_string(next++), 0, {}); }

    // In an open batch. A thread that is interrupted for a millisecond leaves a gap, and the message goes out at once;
    // then the next one is held back.
    [[nodiscard]] bool PublishUntilHeld()
    {
        constexpr int attempts = 100;
        for (int attempt = 0; attempt < attempts; ++attempt)
        {
            Publish();
            if (HeldBack() > 0)
            {
                return true;
            }
        }
        return false;
    }

    // The last one, after which the broker says goodbye.
    void PublishLast() const { channel->Publish("", "q", "last", 0, {}); }

private:
    int socket;
    std::size_t next = firstNumber;
};

// The body of the next message.
inline std::string ReceiveBody(Dialogue& peer)
{
    peer.Expect(1, BasicPublish{.routingKey = "q"});
    peer.ReadFrame(); // the header
    return peer.ReadFrame().payload;
}

// What a WatchedClient publishes, to the last.
inline void ReceiveNumbers(Dialogue& peer)
{
    std::size_t number = firstNumber;
    for (std::string body = ReceiveBody(peer); body != "last"; body = ReceiveBody(peer))
    {
        EXPECT_EQ(body, std::to_string(number++));
    }
}
