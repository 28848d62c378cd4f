#include "Peer.hpp"

#include "PeerConnection.hpp"
#include "Processors.hpp"

#include <arpa/inet.h>
#include <cerrno>
#include <exception>
#include <iostream>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <system_error>
#include <utility>

namespace Bench
{

namespace
{

void Serve(Wire::Descriptor socket)
{
    StayOnProcessor(Processor::Peer);
    Wire::SendAtOnce(socket);
    try
    {
        PeerConnection(std::move(socket)).Serve();
    }
    catch (const std::exception& error) // the connection ends, and the client finds that
    {
        std::cerr << "peer: " << error.what() << '\n';
    }
}

} // namespace

Peer::Peer(const std::string& address) : listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in bound{};
    bound.sin_family = AF_INET;
    if (inet_pton(AF_INET, address.c_str(), &bound.sin_addr) != 1)
    {
        throw std::runtime_error("not an address: " + address);
    }
    socklen_t size = sizeof bound;
    auto* const generic = reinterpret_cast<sockaddr*>(&bound);
    if (bind(listener.Get(), generic, size) != 0 || listen(listener.Get(), SOMAXCONN) != 0 ||
        getsockname(listener.Get(), generic, &size) != 0)
    {
        throw std::system_error(errno, std::generic_category(), "listen on " + address);
    }
    port = ntohs(bound.sin_port);
    acceptor = std::thread(&Peer::AcceptAll, this);
}

Peer::~Peer()
{
    shutdown(listener.Get(), SHUT_RDWR); // ends accept
    acceptor.join();
    for (std::thread& connection : connections)
    {
        connection.join();
    }
}

void Peer::AcceptAll()
{
    for (;;)
    {
        Wire::Descriptor accepted(accept4(listener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (accepted.Get() < 0)
        {
            return;
        }
        connections.emplace_back(Serve, std::move(accepted));
    }
}

} // namespace Bench
