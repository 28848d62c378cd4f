// Error notifiers: called in place, and free to drop the channel they belong to.
#include "Messaging.hpp"

namespace
{

void Refuse(Dialogue& peer)
{
    peer.Expect(1, QueueDeclare{.queue = "q", .passive = true});
    peer.Send(1, ChannelClose{.replyCode = 404, .replyText = "NOT_FOUND"});
    peer.Expect(1, ChannelCloseOk{});
}

void RequestClose(Dialogue& peer)
{
    peer.Send(1, ChannelClose{.replyCode = 404, .replyText = "NOT_FOUND"});
}

// Keeps its count in itself: a copy would have a count of its own.
struct CountingNotifier
{
    int count = 0;

    void operator()(Amqp::ErrorCode&&) { ++count; }
};

int CountOf(const Amqp::Channel& channel)
{
    return channel.ErrorNotifier().target<CountingNotifier>()->count;
}

// Destroys its channel, which is not shared, and afterwards uses its own members.
struct DestroyingNotifier
{
    std::unique_ptr<Amqp::Channel>& channel;
    std::string& seen;
    std::string large = std::string(1000, 'n');
    int count = 0;

    void operator()(Amqp::ErrorCode&&)
    {
        channel.reset();
        ++count;
        seen = large + std::to_string(count);
    }
};

} // namespace

// What a notifier keeps in itself, it finds again: not a copy of it is called.
TEST(Notifier, KeepsItsStateFromOneErrorToTheNext)
{
    ScriptedBroker broker(OnDroppedChannel([](Dialogue&) {}));
    const auto connection = Connect(broker);
    std::vector<int> counts;
    const auto channel = std::make_shared<Amqp::Channel>(connection, [count = 0, &counts](Amqp::ErrorCode&&) mutable
                                                         { counts.push_back(++count); });

    channel->Publish("", tooLong, "cannot be sent", 0, {});
    channel->Publish("", tooLong, "cannot be sent", 0, {});

    EXPECT_THAT(counts, testing::ElementsAre(1, 2));
}

TEST(Notifier, MayDropItsSharedChannelInTheRunLoop)
{
    ScriptedBroker broker(OnChannel(&RequestClose)); // still registered while it is told, so that it says goodbye
    const auto connection = Connect(broker);
    std::shared_ptr<Amqp::Channel> channel;
    std::string seen;
    channel = std::make_shared<Amqp::Channel>(connection,
                                              [&, large = std::string(1000, 'n')](Amqp::ErrorCode&& error)
                                              {
                                                  channel.reset();
                                                  seen = large + error.message;
                                              });

    EXPECT_EQ(connection->Run(), true);

    EXPECT_EQ(seen, std::string(1000, 'n') + "Broker requested channel close");
    EXPECT_EQ(channel, nullptr);
}

TEST(Notifier, OfAChannelThatIsNotSharedKeepsItsStateFromAPublishToACall)
{
    ScriptedBroker broker(OnDroppedChannel(&Refuse));
    Amqp::Channel channel(Connect(broker), CountingNotifier());

    channel.Publish("", tooLong, "cannot be sent", 0, {});
    EXPECT_EQ(CountOf(channel), 1);
    channel.Publish("", tooLong, "cannot be sent", 0, {});
    EXPECT_EQ(CountOf(channel), 2);
    channel.DeclareQueue("q");
    EXPECT_EQ(CountOf(channel), 3);
}

TEST(Notifier, OfAChannelThatIsNotSharedKeepsItsStateInTheRunLoop)
{
    ScriptedBroker broker(OnDroppedChannel(&RequestClose));
    const auto connection = Connect(broker);
    const Amqp::Channel channel(connection, CountingNotifier());

    EXPECT_EQ(connection->Run(), true);

    EXPECT_EQ(CountOf(channel), 1);
}

TEST(Notifier, MayDestroyItsUnsharedChannelDuringACall)
{
    ScriptedBroker broker(OnDroppedChannel(&Refuse));
    std::unique_ptr<Amqp::Channel> channel;
    std::string seen;
    channel = std::make_unique<Amqp::Channel>(Connect(broker), DestroyingNotifier{channel, seen});

    channel->DeclareQueue("q");

    EXPECT_EQ(seen, std::string(1000, 'n') + "1");
}

TEST(Notifier, MayDestroyItsUnsharedChannelDuringAPublish)
{
    ScriptedBroker broker(OnDroppedChannel([](Dialogue&) {}));
    std::unique_ptr<Amqp::Channel> channel;
    std::string seen;
    channel = std::make_unique<Amqp::Channel>(Connect(broker), DestroyingNotifier{channel, seen});

    channel->Publish("", tooLong, "cannot be sent", 0, Unexpected());

    EXPECT_EQ(seen, std::string(1000, 'n') + "1");
}

TEST(Notifier, MayDestroyItsUnsharedChannelInTheRunLoop)
{
    ScriptedBroker broker(OnChannel(&RequestClose));
    const auto connection = Connect(broker);
    std::unique_ptr<Amqp::Channel> channel;
    std::string seen;
    channel = std::make_unique<Amqp::Channel>(connection, DestroyingNotifier{channel, seen});

    EXPECT_EQ(connection->Run(), true);

    EXPECT_EQ(seen, std::string(1000, 'n') + "1");
}

TEST(Notifier, MayDropTheLastChannelAndWithItTheConnectionDuringAPublish)
{
    ScriptedBroker broker(OnDroppedChannel([](Dialogue&) {}));
    std::shared_ptr<Amqp::Channel> channel;
    int told = 0;
    channel = std::make_shared<Amqp::Channel>(Connect(broker),
                                              [&](Amqp::ErrorCode&&)
                                              {
                                                  channel.reset();
                                                  ++told;
                                              });

    channel->Publish("", tooLong, "cannot be sent", 0, Unexpected());

    EXPECT_EQ(told, 1);
    EXPECT_EQ(channel, nullptr);
}
