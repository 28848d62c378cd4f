// A broker whose bytes wait in a pair of connected sockets before the client reads. The stream then ends, or the target
// adds bytes. FedSocket.cpp defines rabbitmq-c's amqp_socket_open, so the client uses this pair instead of TCP. One
// thread runs everything, in the same way each time, and no wait is endless. Owns both ends, until TakeClient.
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

    // Makes a pair of sockets, which the next connection uses.
    explicit FedSocket(std::string_view octets, Then then = Then::Ends);
    ~FedSocket();
    FedSocket(const FedSocket&) = delete;
    FedSocket& operator=(const FedSocket&) = delete;

    // Adds as many bytes as there is room for. Returns their number.
    std::size_t Add(std::string_view octets) const;
    void End() const;

    // Discards what the client has sent, because the socket has only limited room for it.
    void Drain() const;

    // Returns the client's end, which then belongs to the caller, or -1 if the end was taken before.
    int TakeClient();

private:
    int client = -1;
    int broker = -1;
};

} // namespace Fuzz
