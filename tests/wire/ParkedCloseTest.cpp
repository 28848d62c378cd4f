// The broker closes a channel while a call on another channel awaits its reply. The next call on the closed channel
// finds the close first, reports it to the notifier, and throws; nothing is sent. Unsubscribe and the destructor do not
// throw.
#include "Messaging.hpp"
#include "TopologyCases.hpp"

namespace
{

// Closes channel 1 while a call on channel 2 awaits its reply.
void CloseDuringACall(Dialogue& peer)
{
    peer.Expect(2, QueuePurge{.queue = "other"});
    peer.Send(1, ChannelClose{.replyCode = 406, .replyText = "PRECONDITION_FAILED"});
    peer.Send(2, QueuePurgeOk{});
}

// Plays a connection from the login to the close handshakes, of which channel 1 has none.
ScriptedBroker::Script ClosingChannelOne(ScriptedBroker::Script close)
{
    return [close = std::move(close)](Dialogue& peer)
    {
        peer.Login();
        peer.OpenChannel(1);
        peer.OpenChannel(2);
        close(peer);
        peer.CloseChannel(2);
        peer.CloseConnection();
    };
}

// Plays the same connection, but channel 1 may be closed once more: the run loop does so if the notifier destroys the
// channel.
void CloseAndTakeGoodbyes(Dialogue& peer)
{
    peer.Login();
    peer.OpenChannel(1);
    peer.OpenChannel(2);
    CloseDuringACall(peer);
    Frame frame = peer.ReadFrame();
    if (frame == Frame{.channel = 1, .payload = Encode(ChannelClose{})})
    {
        peer.Send(1, ChannelCloseOk{});
        frame = peer.ReadFrame();
    }
    EXPECT_EQ(frame, (Frame{.channel = 2, .payload = Encode(ChannelClose{})})) << Describe(frame);
    peer.Send(2, ChannelCloseOk{});
    peer.CloseConnection();
}

std::vector<Operation> EveryCall()
{
    std::vector<Operation> calls = EachOperation();
    calls.push_back(
        {"Subscribe", [](Amqp::Channel& c) { c.Subscribe("q", Ignore, Amqp::Auto, false, false); }, {}, {}});
    calls.push_back(
        {"SubscribeRpc", [](Amqp::Channel& c) { c.SubscribeRpc("t", "q", Ignore, Amqp::Auto, false, false); }, {}, {}});
    return calls;
}

} // namespace

TEST(ParkedClose, IsFoundByEveryCallWhichFailsWithNothingSent)
{
    for (const Operation& operation : EveryCall())
    {
        SCOPED_TRACE(operation.name);
        ScriptedBroker broker(ClosingChannelOne(&CloseDuringACall));
        const Client client(broker);
        const auto other = OpenChannel(client.connection);
        other->PurgeQueue("other");

        EXPECT_THAT(ErrorOf([&] { operation.call(*client.channel); }), IsUseOfAClosedChannel());
        EXPECT_THAT(ErrorOf([&] { operation.call(*client.channel); }), IsUseOfAClosedChannel());

        EXPECT_THAT(client.noted.errors, testing::ElementsAre(IsCloseRequest()));
    }
}

TEST(ParkedClose, IsThrownByTheCallThatFindsItWithOnErrorThrow)
{
    ScriptedBroker broker(ClosingChannelOne(&CloseDuringACall));
    const auto connection = Connect(broker);
    const auto channel = OpenChannel(connection);
    const auto other = OpenChannel(connection);
    other->PurgeQueue("other");

    EXPECT_THAT(ErrorOf([&] { channel->DeclareQueue("q"); }), IsCloseRequest());
    EXPECT_THAT(ErrorOf([&] { channel->DeclareQueue("q"); }), IsUseOfAClosedChannel());
}

TEST(ParkedClose, LetsItsNotifierDestroyTheSharedChannelThatCalls)
{
    ScriptedBroker broker(&CloseAndTakeGoodbyes);
    const auto connection = Connect(broker);
    std::shared_ptr<Amqp::Channel> channel;
    channel = std::make_shared<Amqp::Channel>(connection, [&](Amqp::ErrorCode&&) { channel.reset(); });
    const auto other = OpenChannel(connection);
    other->PurgeQueue("other");

    EXPECT_THAT(ErrorOf([&] { channel->DeclareQueue("q"); }), IsUseOfAClosedChannel());

    EXPECT_EQ(channel, nullptr);
}

TEST(ParkedClose, LetsItsNotifierDestroyTheUnsharedChannelThatCalls)
{
    ScriptedBroker broker(&CloseAndTakeGoodbyes);
    const auto connection = Connect(broker);
    std::unique_ptr<Amqp::Channel> channel;
    channel = std::make_unique<Amqp::Channel>(connection, [&](Amqp::ErrorCode&&) { channel.reset(); });
    const auto other = OpenChannel(connection);
    other->PurgeQueue("other");

    EXPECT_THAT(ErrorOf([&] { channel->DeclareQueue("q"); }), IsUseOfAClosedChannel());

    EXPECT_EQ(channel, nullptr);
}

TEST(ParkedClose, LeavesWhatCameBeforeItToTheRunLoopWithoutAnAnswer)
{
    ScriptedBroker broker(ClosingChannelOne(
        [](Dialogue& peer)
        {
            AcceptConsumer(peer);
            peer.Expect(2, QueuePurge{.queue = "other"});
            peer.Deliver(1, {.consumerTag = "1/1"}, {}, "before the close");
            peer.Send(1, ChannelClose{.replyCode = 406, .replyText = "PRECONDITION_FAILED"});
            peer.Send(2, QueuePurgeOk{});
        }));
    const Client client(broker);
    const auto other = OpenChannel(client.connection);
    Inbox inbox;
    client.channel->Subscribe("q", inbox.Handler(), Amqp::Explicit, false, false);
    other->PurgeQueue("other");

    EXPECT_THAT(ErrorOf([&] { client.channel->DeclareQueue("q"); }), IsUseOfAClosedChannel());
    EXPECT_EQ(client.connection->Run(), true);
    while (client.connection->Run(50ms) == true) // the close may be one more event
    {
    }

    EXPECT_THAT(inbox.bodies, testing::ElementsAre("before the close"));
    EXPECT_THAT(client.noted.errors, testing::ElementsAre(IsCloseRequest()));
}

TEST(ParkedClose, IsFoundByAPublishWhichFailsWithNothingSent)
{
    ScriptedBroker broker(ClosingChannelOne(&CloseDuringACall));
    const Client client(broker);
    const auto other = OpenChannel(client.connection);
    other->PurgeQueue("other");

    EXPECT_THAT(ErrorOf([&] { client.channel->Publish("", "q", "late", 0, {}); }), IsUseOfAClosedChannel());

    EXPECT_THAT(client.noted.errors, testing::ElementsAre(IsCloseRequest()));
}

TEST(ParkedClose, LetsItsNotifierDropTheLastChannelAndWithItTheConnectionDuringAPublish)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.OpenChannel(2);
            CloseDuringACall(peer);
            peer.CloseChannel(2);
            peer.CloseChannel(1);
            peer.CloseConnection();
        });
    auto connection = Connect(broker);
    std::shared_ptr<Amqp::Channel> channel;
    std::shared_ptr<Amqp::Channel> other;
    const auto dropAll = [&](Amqp::ErrorCode&&)
    {
        other.reset();
        channel.reset();
    };
    channel = std::make_shared<Amqp::Channel>(connection, dropAll);
    other = OpenChannel(connection);
    connection.reset();
    other->PurgeQueue("other");

    EXPECT_THAT(ErrorOf([&] { channel->Publish("", "q", "late", 0, {}); }), IsUseOfAClosedChannel());

    EXPECT_EQ(channel, nullptr);
}

// The broker has ended the consumer together with its channel.
TEST(ParkedClose, IsReportedByUnsubscribeWhichSendsNothingAndReleasesTheHandler)
{
    ScriptedBroker broker(ClosingChannelOne(
        [](Dialogue& peer)
        {
            AcceptConsumer(peer);
            CloseDuringACall(peer);
        }));
    const Client client(broker);
    const auto other = OpenChannel(client.connection);
    auto held = std::make_shared<int>();
    const std::weak_ptr<int> handler = held;
    const std::string tag = client.channel->Subscribe(
        "q", [held = std::move(held)](const Amqp::Envelope&) { return Amqp::Ack; }, Amqp::Explicit, false, false);
    other->PurgeQueue("other");

    EXPECT_NO_THROW(client.channel->Unsubscribe(tag));

    EXPECT_TRUE(handler.expired());
    EXPECT_THAT(client.noted.errors, testing::ElementsAre(IsCloseRequest()));
}

// The peer has closed the channel itself, and sends no channel.close-ok.
TEST(ParkedClose, TakesThePlaceOfTheReplyWhenItsChannelIsDestroyed)
{
    ScriptedBroker broker(ClosingChannelOne(
        [](Dialogue& peer)
        {
            CloseDuringACall(peer);
            peer.Expect(1, ChannelClose{});
        }));
    Client client(broker);
    const auto other = OpenChannel(client.connection);
    other->PurgeQueue("other");

    client.channel.reset();

    EXPECT_TRUE(client.noted.errors.empty());
}
