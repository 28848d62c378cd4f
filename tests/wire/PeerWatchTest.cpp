// What a write is told about the peer, seen on a socket of rabbitmq-c's own.
#include "connection/PeerWatch.hpp"

#include <gtest/gtest.h>

#include <sys/socket.h>

#include "support/Stream.hpp"

namespace
{

using Amqp::PeerWatch;
using Room = PeerWatch::Room;

// rabbitmq-c's side of a connection to a peer that neither reads nor writes.
class PeerWatchOn : public testing::Test
{
protected:
    PeerWatchOn() : state(amqp_new_connection())
    {
        amqp_socket_t* const socket = amqp_tcp_socket_new(state);
        EXPECT_EQ(amqp_socket_open(socket, "127.0.0.1", listener.Port()), AMQP_STATUS_OK);
    }
    ~PeerWatchOn() override { amqp_destroy_connection(state); }
    PeerWatchOn(const PeerWatchOn&) = delete;
    PeerWatchOn& operator=(const PeerWatchOn&) = delete;

    void ShrinkSendBuffer() const
    {
        const int size = 8192;
        EXPECT_EQ(setsockopt(amqp_get_sockfd(state), SOL_SOCKET, SO_SNDBUF, &size, sizeof size), 0);
    }

    Wire::Listener listener;
    amqp_connection_state_t state;
    PeerWatch watch;
};

} // namespace

TEST_F(PeerWatchOn, GivesRoomForWhatFits)
{
    watch.Start(state, std::chrono::seconds(60));

    EXPECT_EQ(watch.Await(1000), Room::Enough);
    EXPECT_EQ(watch.Await(1000), Room::Enough); // of what the first look found
}

TEST_F(PeerWatchOn, IsTightForWhatIsLargerThanTheSendBuffer)
{
    ShrinkSendBuffer();
    watch.Start(state, std::chrono::seconds(60));

    EXPECT_EQ(watch.Await(100'000), Room::Tight);
    EXPECT_EQ(watch.Await(100), Room::Enough);
}

TEST_F(PeerWatchOn, AsksForNothingWithoutHeartbeats)
{
    ShrinkSendBuffer();
    watch.Start(state, std::chrono::seconds(0));

    EXPECT_EQ(watch.Await(100'000), Room::Enough);
}

TEST_F(PeerWatchOn, LeavesAFailedSocketToRabbitMqC)
{
    watch.Start(state, std::chrono::seconds(60));
    EXPECT_EQ(shutdown(amqp_get_sockfd(state), SHUT_RDWR), 0);

    EXPECT_EQ(watch.Await(1000), Room::Enough);
}
