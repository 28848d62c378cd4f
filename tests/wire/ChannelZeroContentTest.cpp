// The broker sends content on channel 0, where the protocol allows none. rabbitmq-c releases that channel's memory with
// every heartbeat, so nobody may use what lies there.
#include "Messaging.hpp"

TEST(ChannelZeroContent, IsSkippedAndNoConsumersThoughItsTagIsKnown)
{
    const std::string body = "hello1/1"; // when the memory is reused, it lies where the tag lay
    ScriptedBroker broker(OnChannel(
        [&](Dialogue& peer)
        {
            AcceptConsumer(peer, 1, /*noAck*/ true);
            Properties properties;
            properties.headers.emplace();
            for (int i = 0; i < 4000; ++i) // more than one page of rabbitmq-c's memory, so rabbitmq-c frees it
            {
                properties.headers->push_back({"k" + std::to_string(i), Binary("v")});
            }
            const BasicDeliver deliver{.consumerTag = "1/1"};
            const std::string whole = DeliveryBytes(0, deliver, properties, body, 131072);
            const std::size_t last = whole.size() - body.size() - 8;
            peer.SendBytes(whole.substr(0, last));
            peer.SendHeartbeat();
            peer.SendBytes(whole.substr(last));
            peer.Deliver(1, deliver, {}, "delivered");
        }));
    const Client client(broker);
    Inbox inbox;
    client.channel->Subscribe("q", inbox.Handler(), Amqp::Auto, false, false);

    EXPECT_EQ(client.connection->Run(), true); // the method, which belongs to no consumer
    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(inbox.bodies, testing::ElementsAre("delivered"));
}
