// A step reads a heartbeat and finds nothing else. The heartbeat is a sign of life like any other bytes.
#include <thread>

#include "LoginOptions.hpp"
#include "Messaging.hpp"

TEST(SignOfLife, IsAHeartbeatThatAShortWaitHasRead)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login({.heartbeat = 1});
            peer.OpenChannel(1);
            AcceptConsumer(peer, 1, /*noAck*/ true);
            std::this_thread::sleep_for(850ms); // less than an interval after the last frame
            peer.SendHeartbeat();
            std::this_thread::sleep_for(1500ms); // over two intervals after that frame, not after the heartbeat
            peer.Deliver(1, {.consumerTag = "1/1"}, {}, "alive");
            peer.CloseChannel(1);
            peer.CloseConnection();
        });
    const auto connection = LogIn(broker, {.heartbeat = 1s});
    const auto channel = OpenChannel(connection);
    Inbox inbox;
    channel->Subscribe("q", inbox.Handler(), Amqp::Auto, false, false);
    const auto end = std::chrono::steady_clock::now() + 5s;

    while (inbox.bodies.empty() && std::chrono::steady_clock::now() < end)
    {
        std::this_thread::sleep_for(50ms);
        connection->Run(1us);
    }

    EXPECT_THAT(inbox.bodies, testing::ElementsAre("alive"));
}
