// Unsubscribe destroys the handler before it cancels the consumer, even if the handler holds the channel itself.
#include <atomic>

#include "Messaging.hpp"

namespace
{

// Returns a handler whose destruction sets the flag.
auto HandlerThatNotes(std::atomic<bool>& released)
{
    std::shared_ptr<void> held(nullptr, [&released](void*) { released = true; });
    return [held = std::move(held)](const Amqp::Envelope&) { return Amqp::Ack; };
}

} // namespace

TEST(Unsubscribe, ReleasesTheHandlerBeforeItSendsTheCancel)
{
    std::atomic<bool> released = false;
    ScriptedBroker broker(OnConsumer(
        [&](Dialogue& peer)
        {
            peer.Expect(1, BasicCancel{.consumerTag = "1/1"});
            EXPECT_TRUE(released);
            peer.Send(1, BasicCancelOk{.consumerTag = "1/1"});
        }));
    const Client client(broker);
    const std::string tag = client.channel->Subscribe("q", HandlerThatNotes(released), Amqp::Explicit, false, false);
    EXPECT_FALSE(released);

    client.channel->Unsubscribe(tag);

    EXPECT_TRUE(released);
}

TEST(Unsubscribe, CancelsBeforeTheChannelClosesWhenTheHandlerHoldsTheChannel)
{
    ScriptedBroker broker(OnConsumer(&AcceptCancel));
    Client client(broker);
    Amqp::Channel& channel = *client.channel;
    const std::weak_ptr<Amqp::Channel> seen = client.channel;
    const std::string tag = channel.Subscribe(
        "q", [held = std::move(client.channel)](const Amqp::Envelope&) { return Amqp::Ack; }, Amqp::Explicit, false,
        false);
    client.connection.reset(); // the channel holds the connection
    EXPECT_FALSE(seen.expired());

    channel.Unsubscribe(tag);

    EXPECT_TRUE(seen.expired());
    EXPECT_TRUE(client.noted.errors.empty());
}
