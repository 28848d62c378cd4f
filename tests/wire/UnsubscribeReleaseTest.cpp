// Unsubscribe destroys the handler before it cancels the consumer, even if the handler holds the channel itself. The
// handler's destructor may also destroy a channel that nobody shares, or the string of the consumer tag.
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

// Returns a handler whose destruction destroys the channel.
auto HandlerThatDestroys(std::unique_ptr<Amqp::Channel>& channel)
{
    std::shared_ptr<void> held(nullptr, [&channel](void*) { channel.reset(); });
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

TEST(Unsubscribe, SendsNoCancelWhenTheHandlerDestroysTheUnsharedChannel)
{
    ScriptedBroker broker(OnConsumer([](Dialogue&) {}));
    const auto connection = Connect(broker);
    auto channel = std::make_unique<Amqp::Channel>(connection, &Amqp::Channel::OnErrorThrow);
    const std::string tag = channel->Subscribe("q", HandlerThatDestroys(channel), Amqp::Explicit, false, false);

    channel->Unsubscribe(tag);

    EXPECT_EQ(channel, nullptr);
}

// A dropped channel is not closed when it is destroyed, so only the channel's own end shows that it may not be used.
TEST(Unsubscribe, SendsNoCancelWhenTheHandlerDestroysTheUnsharedChannelThatWasDropped)
{
    ScriptedBroker broker(OnDroppedChannel([](Dialogue& peer) { AcceptConsumer(peer); }));
    const auto connection = Connect(broker);
    auto channel = std::make_unique<Amqp::Channel>(connection, &Amqp::Channel::OnErrorThrow);
    const std::string tag = channel->Subscribe("q", HandlerThatDestroys(channel), Amqp::Explicit, false, false);
    ErrorOf([&] { channel->PurgeQueue(tooLong); }); // drops the channel

    channel->Unsubscribe(tag);

    EXPECT_EQ(channel, nullptr);
}

TEST(Unsubscribe, CancelsTheConsumerWhoseHandlerOwnsTheStringOfTheTag)
{
    const std::string name = "a tag that no std::string keeps within itself";
    ScriptedBroker broker(OnChannel(
        [&](Dialogue& peer)
        {
            peer.Expect(1, BasicConsume{.queue = "q", .consumerTag = name});
            peer.Send(1, BasicConsumeOk{.consumerTag = name});
            peer.Expect(1, BasicCancel{.consumerTag = name});
            peer.Send(1, BasicCancelOk{.consumerTag = name});
        }));
    const Client client(broker);
    auto owned = std::make_unique<const std::string>(name);
    const std::string_view tag = *owned;
    client.channel->SubscribeRpc(
        tag, "q",
        [owned = std::shared_ptr<const std::string>(std::move(owned))](const Amqp::Envelope&) { return Amqp::Ack; },
        Amqp::Explicit, false, false);

    client.channel->Unsubscribe(tag);

    EXPECT_TRUE(client.noted.errors.empty());
}
