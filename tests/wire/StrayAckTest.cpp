// The broker sends a basic.ack that nobody expects. Nothing has to follow it, and content that follows it belongs to
// nobody.
#include "Messaging.hpp"

namespace
{

constexpr auto soonEnough = 3s; // a broken step takes longer

void ExpectSeen(Dialogue& peer)
{
    peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties(), "seen");
}

} // namespace

TEST(StrayAck, IsAnEventAtOnceWhenNothingFollows)
{
    ScriptedBroker broker(OnChannel(
        [](Dialogue& peer)
        {
            peer.Send(1, BasicAck{});
            ExpectSeen(peer);
            peer.Send(1, BasicAck{.deliveryTag = 7, .multiple = true});
            ExpectSeen(peer);
        }));
    broker.Deadline(soonEnough);
    const Client client(broker);

    for (int ack = 1; ack <= 2; ++ack)
    {
        EXPECT_EQ(client.connection->Run(), true);
        client.channel->Publish("", "q", "seen", 0, {});
    }

    EXPECT_TRUE(client.noted.errors.empty());
}

TEST(StrayAck, HasTheContentThatFollowsLaterSkippedWithoutAnEvent)
{
    for (const std::size_t size : {0U, 100U, 300'000U}) // bodies of no, one and several frames
    {
        SCOPED_TRACE(size);
        ScriptedBroker broker(OnChannel(
            [=](Dialogue& peer)
            {
                AcceptConsumer(peer, 1, /*noAck*/ true);
                peer.Send(1, BasicAck{});
                ExpectSeen(peer);
                peer.SendContent(1, PlainProperties(), std::string(size, 's'));
                peer.Deliver(1, {.consumerTag = "1/1"}, {}, "delivered");
            }));
        broker.Deadline(soonEnough);
        const Client client(broker);
        Inbox inbox;
        client.channel->Subscribe("q", inbox.Handler(), Amqp::Auto, false, false);

        EXPECT_EQ(client.connection->Run(), true);
        client.channel->Publish("", "q", "seen", 0, {});
        EXPECT_EQ(client.connection->Run(), true);

        EXPECT_THAT(inbox.bodies, testing::ElementsAre("delivered"));
        EXPECT_TRUE(client.noted.errors.empty());
    }
}
