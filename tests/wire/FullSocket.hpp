// Brings the client's socket into states that a test needs: without room for more output, or with unread input. Each
// wait has a deadline.
#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <functional>
#include <string>

#include <amqp/Channel.hpp>
#include <linux/sock_diag.h>
#include <poll.h>

#include "ClientSocket.hpp"
#include "support/Dialogue.hpp"

// Checks whether a condition stays true for longer than the peer's kernel takes to acknowledge what it has received.
[[nodiscard]] inline bool Lasts(const std::function<bool()>& condition)
{
    for (int look = 0; look < 10; ++look)
    {
        if (!condition())
        {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

// Returns one of the kernel's figures of a socket, by its SK_MEMINFO number.
inline std::uint32_t MemoryOf(int socket, std::size_t figure)
{
    std::array<std::uint32_t, SK_MEMINFO_VARS> memory{};
    socklen_t size = sizeof memory;
    EXPECT_EQ(getsockopt(socket, SOL_SOCKET, SO_MEMINFO, memory.data(), &size), 0);
    return memory.at(figure);
}

// Returns how many more bytes the kernel takes.
inline std::uint32_t RoomIn(int socket)
{
    const std::uint32_t limit = MemoryOf(socket, SK_MEMINFO_SNDBUF);
    return limit - std::min(limit, MemoryOf(socket, SK_MEMINFO_WMEM_QUEUED));
}

// Publishes while the socket has room for more than a small message. The peer must not read meanwhile.
inline void LeaveHardlyRoom(Amqp::Channel& channel, int socket)
{
    ShrinkSendBuffer(socket, 65536);
    int left = 10'000; // the sockets take far fewer publishes
    for (; left > 0 && !Lasts([=] { return RoomIn(socket) < 4096; }); --left)
    {
        // Small messages alone would exceed the memory of the peer's socket. Its kernel would drop some for a while.
        const std::string body(RoomIn(socket) > 40'000 ? 16'384 : 1024, 'f');
        channel.Publish("", "filler", body, 0, {});
    }
    EXPECT_GT(left, 0) << "the peer reads";
}

// Publishes while the socket has room, and fills the rest with heartbeats. Afterwards not one byte can be written until
// the peer reads. The peer must not read meanwhile.
inline void LeaveNoRoom(Amqp::Channel& channel, int socket)
{
    LeaveHardlyRoom(channel, socket);
    // After the end of a record the kernel appends nothing to its last segment. So the kernel takes a whole heartbeat
    // or none of it.
    const std::string heartbeat = Wire::FrameBytes(Wire::Frame{Wire::heartbeatFrame, 0, ""});
    const int flags = MSG_DONTWAIT | MSG_NOSIGNAL | MSG_EOR;
    const auto takesNone = [&] { return send(socket, heartbeat.data(), heartbeat.size(), flags) < 0; };
    int left = 10'000; // the sockets take far fewer heartbeats
    for (; left > 0 && !Lasts(takesNone); --left)
    {
    }
    EXPECT_GT(left, 0) << "the peer reads";
}

// Returns the first frame after what LeaveNoRoom has written.
inline Wire::Frame ReadPastFiller(Wire::Dialogue& peer)
{
    const std::string filler = Wire::Encode(Wire::BasicPublish{.routingKey = "filler"});
    Wire::Frame frame = peer.ReadFrame();
    for (; frame.payload == filler; frame = peer.ReadFrame())
    {
        peer.ReadFrame(); // the header
        peer.ReadFrame(); // the body
    }
    return frame;
}

// Waits for a condition, at most 5 seconds, and returns whether it became true.
[[nodiscard]] inline bool Soon(const std::function<bool()>& condition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (!condition())
    {
        if (std::chrono::steady_clock::now() > end)
        {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

[[nodiscard]] inline bool AwaitInput(int socket, std::size_t bytes)
{
    return Soon([=] { return Unread(socket) >= static_cast<int>(bytes); });
}

// Waits until unread input takes more than half of the socket's memory for it.
[[nodiscard]] inline bool AwaitCrowdedInput(int socket)
{
    return Soon([=] { return MemoryOf(socket, SK_MEMINFO_RMEM_ALLOC) > MemoryOf(socket, SK_MEMINFO_RCVBUF) / 2; });
}

[[nodiscard]] inline bool AwaitReset(int socket)
{
    return Soon(
        [=]
        {
            pollfd entry{socket, 0, 0};
            return poll(&entry, 1, 0) > 0 && (entry.revents & POLLERR) != 0;
        });
}
