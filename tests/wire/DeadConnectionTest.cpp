// A connection that has ended: nothing that is given to it afterwards is lost without a word.
#include <thread>

#include "Listening.hpp"
#include "LoginOptions.hpp"
#include "Messaging.hpp"
#include "values/RabbitMq.hpp"

namespace
{

using Amqp::ErrorCode;

auto IsEnd()
{
    return IsError(ErrorCode::Library, -AMQP_STATUS_CONNECTION_CLOSED,
                   amqp_error_string2(AMQP_STATUS_CONNECTION_CLOSED));
}

auto IsEndInACall()
{
    return IsError(ErrorCode::Library, 1, amqp_error_string2(AMQP_STATUS_CONNECTION_CLOSED));
}

void ExpectEveryUseToRepeat(Client& client)
{
    client.channel->Publish("", "q", "lost", 0, {});
    EXPECT_THAT(client.noted.errors, testing::ElementsAre(IsEnd()));
    EXPECT_THAT(ErrorOf([&] { client.channel->PurgeQueue("q"); }), IsEndInACall());
    EXPECT_THAT(ErrorOf([&] { client.NewChannel(); }), IsEndInACall());
    EXPECT_THAT(ErrorOf([&] { client.connection->Run(); }), IsEnd());
}

} // namespace

TEST(DeadConnection, ReportsAnUnexpectedEndForEveryUseAfterTheBrokerClosedIt)
{
    ScriptedBroker broker(WithConnectionClosed());
    Client client(broker);
    EXPECT_EQ(client.connection->Run(), false);

    ExpectEveryUseToRepeat(client);
}

TEST(DeadConnection, WhoseStreamHasEndedRepeatsIt)
{
    ScriptedBroker broker(&LoginAndEnd);
    Client client(broker);
    EXPECT_THAT(ErrorOf([&] { client.connection->Run(); }), IsEnd());

    ExpectEveryUseToRepeat(client);
}

// Deliveries that came while a call awaited its reply, before the end of the stream did.
TEST(DeadConnection, StillGivesWhatCameBeforeItsEnd)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            AcceptConsumer(peer, 1, /*noAck*/ true);
            peer.Expect(1, QueuePurge{.queue = "q"});
            peer.Deliver(1, {.consumerTag = "1/1"}, {}, "first");
            peer.Deliver(1, {.consumerTag = "1/1"}, {}, "second");
            peer.Abandon();
        });
    const Client client(broker);
    Inbox inbox;
    client.channel->Subscribe("q", inbox.Handler(), Amqp::Auto, false, false);
    EXPECT_THAT(ErrorOf([&] { client.channel->PurgeQueue("q"); }), IsEndInACall());

    EXPECT_EQ(client.connection->Run(), true);
    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(inbox.bodies, testing::ElementsAre("first", "second"));
    EXPECT_THAT(ErrorOf([&] { client.connection->Run(); }), IsEnd());
}

// If a publish follows the last read by a heartbeat interval, the publish reads what has arrived.
TEST(DeadConnection, IsOneWhosePublishFindsOctetsThatCannotBeRead)
{
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login({.heartbeat = 1});
            peer.OpenChannel(1);
            std::string frame = FrameBytes({methodFrame, 1, Encode(ChannelFlow{})});
            frame.back() = 'E';
            peer.SendBytes(frame);
            peer.Expect(0, ConnectionClose{});
            peer.Abandon();
        });
    const auto connection = LogIn(broker, {.heartbeat = 1s});
    Noted noted;
    const auto channel = std::make_shared<Amqp::Channel>(connection, noted.Notifier());
    std::this_thread::sleep_for(1100ms);

    channel->Publish("", "q", "body", 0, {});

    const auto isUnreadable =
        IsError(ErrorCode::Library, -AMQP_STATUS_BAD_AMQP_DATA, amqp_error_string2(AMQP_STATUS_BAD_AMQP_DATA));
    EXPECT_THAT(noted.errors, testing::ElementsAre(isUnreadable));
    EXPECT_THAT(ErrorOf([&] { connection->Run(); }), isUnreadable);
}
