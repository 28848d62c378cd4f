// The end of a connection: what is said, what is awaited, and what keeps it alive until then.
#include <atomic>
#include <string>

#include "Client.hpp"

namespace
{

void LoginWithTwoChannels(Dialogue& peer)
{
    peer.Login();
    peer.OpenChannel(1);
    peer.OpenChannel(2);
}

} // namespace

TEST(Teardown, SendsConnectionCloseWithReplyCode200)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.Expect(0, ConnectionClose{.replyCode = 200, .replyText = "200", .classId = 0, .methodId = 0});
            peer.Send(0, ConnectionCloseOk{});
            peer.ExpectEnd();
        });

    Connect(broker).reset();
    broker.Finish();
}

TEST(Teardown, AwaitsTheReply)
{
    std::atomic<bool> answered = false;
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login();
            peer.Expect(0, ConnectionClose{});
            peer.ExpectSilence(50ms);
            answered = true;
            peer.Send(0, ConnectionCloseOk{});
        });

    Connect(broker).reset();

    EXPECT_TRUE(answered);
}

TEST(Teardown, DropsWhatArrivesBeforeTheReply)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            LoginWithTwoChannels(peer);
            peer.Receive<ChannelClose>(1);
            peer.Deliver(2, {.consumerTag = "2/1"}, {}, "late");
            peer.Send(2, ChannelClose{.replyCode = 406, .replyText = "too late"});
            peer.Send(1, ChannelCloseOk{});
            peer.CloseChannel(2);
            peer.Expect(0, ConnectionClose{});
            peer.SendHeartbeat();
            peer.Send(0, ConnectionCloseOk{});
        });
    Noted noted;

    auto connection = Connect(broker);
    auto first = std::make_shared<Amqp::Channel>(connection, noted.Notifier());
    auto second = std::make_shared<Amqp::Channel>(connection, noted.Notifier());
    first.reset();
    second.reset();
    connection.reset();

    EXPECT_TRUE(noted.errors.empty());
}

TEST(Teardown, EndsWhenThePeerJustCloses)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.Expect(0, ConnectionClose{});
            peer.Abandon();
        });

    EXPECT_NO_THROW(Connect(broker).reset());
}

TEST(Teardown, EndsWhenThePeerHasGoneBefore)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            LoginWithTwoChannels(peer);
            peer.Reset();
        });

    auto connection = Connect(broker);
    auto first = OpenChannel(connection);
    auto second = OpenChannel(connection);
    broker.Finish();

    EXPECT_NO_THROW(first.reset());
    EXPECT_NO_THROW(second.reset());
    EXPECT_NO_THROW(connection.reset());
}

TEST(Teardown, DoesNotCloseChannelsThatAnErrorDropped)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            LoginWithTwoChannels(peer);
            peer.Receive<QueuePurge>(1);
            peer.Send(0, ConnectionClose{.replyCode = 320, .replyText = "CONNECTION_FORCED"});
            peer.Expect(1, ConnectionCloseOk{});
            peer.CloseConnection();
        });

    auto connection = Connect(broker);
    auto first = OpenChannel(connection);
    auto second = OpenChannel(connection);
    EXPECT_THROW(first->PurgeQueue("q"), Amqp::ErrorCode);

    first.reset();
    second.reset();
    connection.reset();
    broker.Finish();
}

TEST(Teardown, WaitsForTheLastChannel)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            LoginWithTwoChannels(peer);
            peer.CloseChannel(1);
            peer.Expect(2, QueuePurge{.queue = "q"});
            peer.Send(2, QueuePurgeOk{});
            peer.CloseChannel(2);
            peer.CloseConnection();
        });

    auto connection = Connect(broker);
    const std::weak_ptr<Amqp::Connection> watch = connection;
    auto first = OpenChannel(connection);
    auto second = OpenChannel(connection);
    connection.reset();
    first.reset();
    EXPECT_FALSE(watch.expired());

    second->PurgeQueue("q");
    second.reset();
    EXPECT_TRUE(watch.expired());
}
