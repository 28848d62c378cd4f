// A session has failed while a long message lies unread and a heartbeat is due. The message is handled first.
#include <thread>

#include "FullSocket.hpp"
#include "LoginOptions.hpp"
#include "Messaging.hpp"

TEST(FailedReading, GoesOnBeyondWhatOneStepReadsAtOnceThoughAHeartbeatIsDue)
{
    const std::string body(200, 'b');
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login({.heartbeat = 1});
            peer.OpenChannel(1);
            AcceptConsumer(peer, 1, /*noAck*/ true);
            peer.SendBytes(DeliveryBytes(1, {.consumerTag = "1/1"}, {}, body, /*frameMax*/ 9)); // one byte a frame
            std::this_thread::sleep_for(100ms);
            peer.Reset();
        });
    const auto connection = LogIn(broker, {.heartbeat = 1s});
    Noted noted;
    const auto channel = std::make_shared<Amqp::Channel>(connection, noted.Notifier());
    const int socket = SocketTo(broker.Port());
    Inbox inbox;
    channel->Subscribe("q", inbox.Handler(), Amqp::Auto, false, false);
    ASSERT_TRUE(AwaitReset(socket));
    channel->Publish("", "q", "fails", 0, {});
    std::this_thread::sleep_for(700ms); // more than half an interval

    EXPECT_EQ(connection->Run(), true);

    EXPECT_EQ(noted.errors.size(), 1U);
    EXPECT_THAT(inbox.bodies, testing::ElementsAre(body));
}
