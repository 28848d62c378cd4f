#include "FedSocket.hpp"

#include "Fuzz.hpp"

#include <utility>

#include <sys/socket.h>
#include <unistd.h>

#include "values/RabbitMq.hpp"

namespace
{

Fuzz::FedSocket* current = nullptr; // the socket to which amqp_socket_open connects

} // namespace

namespace Fuzz
{

FedSocket::FedSocket(std::string_view octets, Then then)
{
    int ends[2] = {-1, -1};
    Require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) == 0, "a pair of sockets");
    client = ends[0];
    broker = ends[1];
    Require(Add(octets) == octets.size(), "a socket has room for the whole input");
    if (then == Then::Ends)
    {
        End();
    }
    current = this;
}

FedSocket::~FedSocket()
{
    current = nullptr;
    ::close(broker);
    if (client >= 0)
    {
        ::close(client);
    }
}

std::size_t FedSocket::Add(std::string_view octets) const
{
    const ssize_t sent = octets.empty() ? 0 : ::send(broker, octets.data(), octets.size(), MSG_NOSIGNAL);
    return sent < 0 ? 0 : static_cast<std::size_t>(sent);
}

void FedSocket::End() const
{
    ::shutdown(broker, SHUT_WR);
}

void FedSocket::Drain() const
{
    char chunk[16384];
    while (::recv(broker, chunk, sizeof chunk, 0) > 0)
    {
    }
}

int FedSocket::TakeClient()
{
    return std::exchange(client, -1);
}

} // namespace Fuzz

// The linker prefers this definition to the one in rabbitmq-c's shared library.
int amqp_socket_open(amqp_socket_t* self, const char* /*host*/, int /*port*/)
{
    const int client = current != nullptr ? current->TakeClient() : -1;
    if (client < 0)
    {
        return AMQP_STATUS_SOCKET_ERROR;
    }
    amqp_tcp_socket_set_sockfd(self, client);
    return AMQP_STATUS_OK;
}
