// A peer that drops published messages and floods consumers. It is so fast that the bench measures the client. It
// listens on an address of this machine, on a free port. It owns its threads: one accepts connections, and each
// connection has one. The destructor waits until all clients have closed their connections.
#pragma once

#include "support/Stream.hpp"

#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace Bench
{

class Peer
{
public:
    explicit Peer(const std::string& address);
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    std::uint16_t Port() const { return port; }

private:
    void AcceptAll();

    Wire::Descriptor listener;
    std::uint16_t port = 0;
    std::vector<std::thread> connections; // used by the acceptor only, until it has ended
    std::thread acceptor;
};

} // namespace Bench
