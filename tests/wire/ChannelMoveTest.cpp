// A channel that is moved: the new object goes on with the number, the old one is left with nothing.
#include <optional>
#include <string>
#include <utility>

#include "Messaging.hpp"
#include "TopologyCases.hpp"

namespace
{

using Amqp::Channel;
using Amqp::ErrorCode;

ScriptedBroker::Script OneConsumerBeforeAndOneAfter()
{
    return OnChannel(
        [](Dialogue& peer)
        {
            for (const char* const tag : {"1/1", "1/2"})
            {
                peer.Expect(1, BasicConsume{.queue = "q", .consumerTag = tag, .noAck = true});
                peer.Send(1, BasicConsumeOk{.consumerTag = tag});
            }
        });
}

} // namespace

TEST(ChannelMove, GoesOnWithNumberAndTagCounter)
{
    ScriptedBroker broker(OneConsumerBeforeAndOneAfter());
    Channel source(Connect(broker), &Channel::OnErrorThrow);
    EXPECT_EQ(source.Subscribe("q", {}, Amqp::Auto, false, false), "1/1");

    Channel target(std::move(source));

    EXPECT_EQ(target.Token(), 1);
    EXPECT_EQ(target.Subscribe("q", {}, Amqp::Auto, false, false), "1/2");
}

TEST(ChannelMove, TakesTheConnection)
{
    ScriptedBroker broker(OnChannel([](Dialogue&) {}));
    Channel source(Connect(broker), &Channel::OnErrorThrow);
    const std::weak_ptr<Amqp::Connection> connection = source.Connection();

    Channel target(std::move(source));

    EXPECT_TRUE(source.Connection().expired()); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(target.Connection().lock(), connection.lock());
    EXPECT_EQ(connection.use_count(), 1);
}

TEST(ChannelMove, TakesTheNotifier)
{
    ScriptedBroker broker(OnDroppedChannel(
        [](Dialogue& peer)
        {
            peer.Expect(1, QueuePurge{.queue = "q"});
            peer.Send(1, ChannelClose{.replyCode = 404, .replyText = "NOT_FOUND"});
            peer.Expect(1, ChannelCloseOk{});
        }));
    Noted noted;
    Channel source(Connect(broker), noted.Notifier());

    Channel target(std::move(source));
    target.PurgeQueue("q");

    EXPECT_FALSE(source.ErrorNotifier()); // NOLINT(bugprone-use-after-move)
    EXPECT_THAT(noted.errors, testing::ElementsAre(IsError(ErrorCode::ChannelClosed, 404, "NOT_FOUND")));
}

TEST(ChannelMove, LeavesASourceWhoseDestructionSendsNothing)
{
    ScriptedBroker broker(OnChannel(
        [](Dialogue& peer)
        {
            peer.Expect(1, QueuePurge{.queue = "q"});
            peer.Send(1, QueuePurgeOk{});
        }));
    std::optional<Channel> source(std::in_place, Connect(broker), &Channel::OnErrorThrow);

    Channel target(std::move(*source));
    source.reset();

    EXPECT_NO_THROW(target.PurgeQueue("q"));
}

TEST(ChannelMove, LeavesASourceWhoseOperationsThrow)
{
    ScriptedBroker broker(OnChannel([](Dialogue&) {}));
    Channel source(Connect(broker), &Channel::OnErrorThrow);
    const Channel target(std::move(source));

    for (const Operation& operation : EachOperation())
    {
        EXPECT_THROW(operation.call(source), std::runtime_error) << operation.name; // NOLINT(bugprone-use-after-move)
    }
    // NOLINTNEXTLINE(bugprone-use-after-move): that is the subject
    EXPECT_THROW(source.Subscribe("q", {}, Amqp::Auto, false, false), std::runtime_error);
    EXPECT_THROW(source.SubscribeRpc("tag", "q", {}, Amqp::Auto, false, false), std::runtime_error);
    EXPECT_THROW(source.Unsubscribe("tag"), std::runtime_error);
    EXPECT_THROW(source.Publish("e", "key", "body", 0, {}), std::runtime_error);
}

// The registry still names the source, whose notifier is gone.
TEST(ChannelMove, LeavesTheSourceInTheRegistry)
{
    ScriptedBroker broker(
        OnChannel([](Dialogue& peer) { peer.Send(1, ChannelClose{.replyCode = 404, .replyText = "NOT_FOUND"}); }));
    const auto connection = Connect(broker);
    Noted noted;
    Channel source(connection, noted.Notifier());
    const Channel target(std::move(source));

    EXPECT_THROW(connection->Run(), std::bad_function_call);

    EXPECT_TRUE(noted.errors.empty());
}
