// Exchanges, queues and bindings: every field of every method, and what a refusal does.
#include "Client.hpp"

TEST(Topology, DeclareQueueReturnsTheNameThatTheBrokerGenerated)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.Expect(1, QueueDeclare{.durable = true, .autoDelete = true});
            peer.Send(1, QueueDeclareOk{.queue = "amq.gen-1"});
            peer.CloseChannel(1);
            peer.CloseConnection();
        });

    const auto channel = OpenChannel(Connect(broker));
    EXPECT_EQ(channel->DeclareQueue(true, false, true), "amq.gen-1");
}
