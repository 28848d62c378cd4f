// The peer in a process of its own: system calls cost a program with several threads more, and it is the client that is
// measured. Owns the process, which ends with it, or with this program however that ends.
#pragma once

#include "support/Stream.hpp"

#include <cstdint>
#include <sys/types.h>

namespace Bench
{

class PeerProcess
{
public:
    // To be made before there are any threads.
    PeerProcess();
    ~PeerProcess();
    PeerProcess(const PeerProcess&) = delete;
    PeerProcess& operator=(const PeerProcess&) = delete;

    std::uint16_t Port() const { return port; }

private:
    Wire::Descriptor lifeline; // the peer ends when this does
    pid_t process = -1;
    std::uint16_t port = 0;
};

} // namespace Bench
