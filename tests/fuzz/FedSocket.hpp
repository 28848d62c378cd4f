// A broker that has said everything before the client asks: its octets wait in a pair of connected sockets, and then
// comes their end, or what is added. In place of the client's TCP connection (FedSocket.cpp defines rabbitmq-c's
// amqp_socket_open), so that one thread runs it all, the same way each time, and nothing can wait for ever.
#pragma once

#include <string_view>

namespace Fuzz
{

class FedSocket
{
public:
    enum class Then
    {
        Ends,
        GoesOn
    };

    // From now on the one that the next connection gets.
    explicit FedSocket(std::string_view octets, Then then = Then::Ends);
    ~FedSocket();
    FedSocket(const FedSocket&) = delete;
    FedSocket& operator=(const FedSocket&) = delete;

    // More octets: gives how many of them there is room for.
    std::size_t Add(std::string_view octets) const;
    void End() const;

    // Throws away what the client has sent, since nobody reads it and the room for it is bounded.
    void Drain() const;

    // The client's end, whose owner is the caller; -1 when it was taken before.
    int TakeClient();

private:
    int client = -1;
    int broker = -1;
};

} // namespace Fuzz
