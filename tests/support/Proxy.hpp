// The network between a client and a broker, for tests in which it fails: connections to a loopback port are carried on
// to another one, and may be paused, slowed, cut, reset, or lose what they carry. The proxy owns all the sockets and
// one thread; the test's thread may call everything, and what it asks for is done when the call returns.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <poll.h>

#include "Stream.hpp"

namespace Wire
{

class Proxy
{
public:
    enum Direction : std::size_t
    {
        ToServer,
        ToClient
    };

    explicit Proxy(std::uint16_t serverPort); // listens before it returns
    ~Proxy();
    Proxy(const Proxy&) = delete;
    Proxy& operator=(const Proxy&) = delete;

    std::uint16_t Port() const;

    // Reads no more from the sender, so that it finds the way full; nothing is lost.
    void Pause(Direction direction);
    void Resume(Direction direction);

    // Octets a second for each connection; 0 for no limit.
    void Limit(Direction direction, std::size_t octets);

    // Goes on reading, and forgets what it reads, ends of streams included: for the sender all is well.
    void Swallow(Direction direction);

    // Keeps what it carries in that direction from now on, of all connections.
    void Record(Direction direction);

    // Ends all connections on both sides, in order (what was sent is read, then the end of the stream) or by a reset.
    void Close();
    void Reset();

    // What has been carried so far in that direction, swallowed octets excluded.
    std::size_t Carried(Direction direction) const;

    // What Record has kept so far: at least all that the receiver has read.
    std::string Recorded(Direction direction) const;

private:
    using Clock = std::chrono::steady_clock;

    struct Way
    {
        std::string held;    // read and not yet written
        bool ended = false;  // by its sender
        bool closed = false; // and its receiver has been told
        double allowance = 0;
        Clock::time_point refilled = Clock::now();
    };

    struct Link
    {
        Descriptor socket[2]; // of the server and of the client: where each way leads
        Way way[2];
        bool broken = false;
    };

    struct Rule
    {
        bool paused = false;
        bool swallowing = false;
        bool recording = false;
        std::size_t limit = 0;
    };

    template <typename Change>
    void Apply(Change change);
    void Work();
    int Watch(std::vector<pollfd>& entries) const;
    void Accept();
    void Move(Link& link, Direction direction);
    void Read(Link& link, Direction direction);
    void Write(Link& link, Direction direction);

    const std::uint16_t serverPort;
    Listener listener;
    Descriptor wake; // written to when the thread is to look again
    mutable std::mutex mutex;
    std::list<Link> links;
    Rule rules[2];
    std::size_t carried[2] = {};
    std::string recorded[2];
    bool stopping = false;
    std::thread thread; // last: it uses all the others
};

} // namespace Wire
