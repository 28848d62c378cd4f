// Runs the peer in a process of its own. System calls take longer in a program with several threads, and would slow the
// client, which is measured. Owns the process: it ends with this object, and also if this program crashes. Belongs to
// the main thread.
#pragma once

#include "support/Stream.hpp"

#include <cstdint>
#include <sys/types.h>

namespace Bench
{

class PeerProcess
{
public:
    // Starts the process. Call the constructor before the program has other threads.
    PeerProcess();
    ~PeerProcess();
    PeerProcess(const PeerProcess&) = delete;
    PeerProcess& operator=(const PeerProcess&) = delete;

    std::uint16_t Port() const { return port; }

private:
    Wire::Descriptor lifeline; // the peer ends when this is closed
    pid_t process = -1;
    std::uint16_t port = 0;
};

} // namespace Bench
