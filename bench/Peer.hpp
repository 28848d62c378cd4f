// A peer that swallows what is published and floods consumers, so that the client is what is measured. It listens on
// an address of this machine, on a free port, and serves each connection on a thread of its own. It ends when it is
// destroyed, which waits for its clients to go.
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
    std::vector<std::thread> connections; // the acceptor's own
    std::thread acceptor;
};

} // namespace Bench
