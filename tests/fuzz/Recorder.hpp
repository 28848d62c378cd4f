// A proxy between one client and a broker, on loopback: it hands everything on, and keeps what the broker said. It owns
// its sockets and its two threads; its owner waits for the end before it looks at the record.
#pragma once

#include <cstdint>
#include <string>
#include <thread>

#include "support/Stream.hpp"

namespace Fuzz
{

class Recorder
{
public:
    // Takes the one connection that comes, to which end it makes one of its own.
    explicit Recorder(std::uint16_t brokerPort);
    ~Recorder();
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    std::uint16_t Port() const { return listener.Port(); }

    // When both sides have ended: all octets of the broker.
    std::string Finish();

private:
    void Relay(std::uint16_t brokerPort);

    Wire::Listener listener;
    std::string recorded;
    std::thread thread; // last: it uses all the others
};

} // namespace Fuzz
