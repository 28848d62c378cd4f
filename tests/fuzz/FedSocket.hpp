// A broker that has said everything it will ever say before the client asks: its octets wait in a pair of connected
// sockets, and then comes their end. In place of the client's TCP connection (FedSocket.cpp defines rabbitmq-c's
// amqp_socket_open), so that one thread runs it all, the same way each time, and nothing can wait for ever.
#pragma once

#include <string_view>

namespace Fuzz
{

class FedSocket
{
public:
    // From now on the one that the next connection gets.
    explicit FedSocket(std::string_view octets);
    ~FedSocket();
    FedSocket(const FedSocket&) = delete;
    FedSocket& operator=(const FedSocket&) = delete;

    // Throws away what the client has sent, since nobody reads it and the room for it is bounded.
    void Drain() const;

    // The client's end, whose owner is the caller; -1 when it was taken before.
    int TakeClient();

private:
    int client = -1;
    int broker = -1;
};

} // namespace Fuzz
