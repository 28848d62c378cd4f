// The client's end of a connection as the kernel sees it; the library does not show its socket. Options may be asked
// for on any thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <thread>

#include <gtest/gtest.h>
#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

// The descriptor of this process that is connected to a port on loopback; -1 when there is none.
inline int SocketTo(std::uint16_t port)
{
    constexpr int most = 4096;
    for (int socket = 0; socket < most; ++socket)
    {
        sockaddr_in peer{};
        socklen_t size = sizeof peer;
        if (getpeername(socket, reinterpret_cast<sockaddr*>(&peer), &size) == 0 && peer.sin_port == htons(port))
        {
            return socket;
        }
    }
    return -1;
}

// How many octets have been written that the kernel holds back. What it must not send yet, since the peer has not
// acknowledged enough of what came before, is waited for: it may take its time over small segments.
inline int HeldBack(int socket)
{
    tcp_info info{};
    while (true)
    {
        socklen_t size = sizeof info;
        getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &size);
        int octets = -1;
        ioctl(socket, SIOCOUTQNSD, &octets);
        if (octets <= 0 || info.tcpi_unacked < info.tcpi_snd_cwnd)
        {
            return octets;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

// How many octets have come that have not been read.
inline int Unread(int socket)
{
    int octets = -1;
    ioctl(socket, FIONREAD, &octets);
    return octets;
}

inline void ShrinkSendBuffer(int socket, int size = 32768)
{
    EXPECT_EQ(setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &size, sizeof size), 0);
}

inline bool IsCorked(int socket)
{
    int corked = -1;
    socklen_t size = sizeof corked;
    getsockopt(socket, IPPROTO_TCP, TCP_CORK, &corked, &size);
    return corked != 0;
}
