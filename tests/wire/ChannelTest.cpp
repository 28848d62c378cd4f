// A channel from its opening to its closing: numbers, what its constructor refuses, and when it is closed.
#include <string>

#include "Messaging.hpp"

namespace
{

using Amqp::Channel;
using Amqp::ErrorCode;

// The script of a connection on which one channel is opened, and refused.
ScriptedBroker::Script RefuseChannel(ScriptedBroker::Script rest)
{
    return [rest = std::move(rest)](Dialogue& peer)
    {
        peer.Login();
        peer.Expect(1, ChannelOpen{});
        rest(peer);
        peer.CloseConnection();
    };
}

// The notification goes out before the channel has its number, so the answer to it goes out on 0.
void RefuseWith504(Dialogue& peer)
{
    peer.Send(1, ChannelClose{.replyCode = 504, .replyText = "too many channels", .classId = 20, .methodId = 10});
    peer.Expect(0, ChannelCloseOk{});
}

} // namespace

TEST(Channel, NumbersAre1And2And3AndNeverReused)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.OpenChannel(2);
            peer.OpenChannel(3);
            peer.CloseChannel(2);
            peer.OpenChannel(4);
            peer.CloseChannel(4);
            peer.CloseChannel(3);
            peer.CloseChannel(1);
            peer.CloseConnection();
        });
    const auto connection = Connect(broker);

    const auto first = OpenChannel(connection);
    auto second = OpenChannel(connection);
    const auto third = OpenChannel(connection);
    EXPECT_EQ(first->Token(), 1);
    EXPECT_EQ(second->Token(), 2);
    EXPECT_EQ(third->Token(), 3);

    second.reset();
    EXPECT_EQ(OpenChannel(connection)->Token(), 4);
}

TEST(Channel, NumbersOfTwoConnectionsAreIndependent)
{
    ScriptedBroker broker({OnChannel([](Dialogue&) {}), OnChannel([](Dialogue&) {})});
    const Client one(broker);
    const Client other(broker);

    EXPECT_EQ(one.channel->Token(), 1);
    EXPECT_EQ(other.channel->Token(), 1);
}

TEST(Channel, OnANullConnectionIsRefusedWhateverTheNotifier)
{
    for (const auto& notifier : {std::function<void(ErrorCode &&)>(), std::function<void(ErrorCode &&)>([](auto&&) {})})
    {
        EXPECT_THAT([&] { Channel(nullptr, notifier); },
                    testing::ThrowsMessage<std::runtime_error>("Unable to create a channel on a null connection"));
    }
}

TEST(Channel, WithAnEmptyNotifierIsRefusedWithoutTraffic)
{
    ScriptedBroker broker(OnChannel([](Dialogue&) {}));
    const auto connection = Connect(broker);

    EXPECT_THAT([&] { Channel(connection, {}); },
                testing::ThrowsMessage<std::runtime_error>("Error handler must NOT be null"));
    EXPECT_EQ(OpenChannel(connection)->Token(), 1) << "no number was used up";
}

TEST(Channel, ClosesWithReplyCode200AndAwaitsTheReply)
{
    std::atomic<bool> answered = false;
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.Expect(1, ChannelClose{.replyCode = 200, .replyText = "200", .classId = 0, .methodId = 0});
            peer.ExpectSilence(50ms);
            answered = true;
            peer.Send(1, ChannelCloseOk{});
            peer.CloseConnection();
        });
    const auto connection = Connect(broker);

    OpenChannel(connection).reset();
    EXPECT_TRUE(answered);
}

TEST(Channel, RefusedByTheBrokerTellsTheNotifierDuringConstructionAndKeepsTheNumber0)
{
    ScriptedBroker broker(RefuseChannel(RefuseWith504));
    Noted noted;

    const auto channel = std::make_shared<Channel>(Connect(broker), noted.Notifier());

    EXPECT_THAT(noted.errors, testing::ElementsAre(IsError(ErrorCode::ChannelClosed, 504, "too many channels")));
    EXPECT_EQ(channel->Token(), 0);
}

TEST(Channel, RefusedByTheBrokerHasUsedItsNumberUpAndIsNotRegistered)
{
    ScriptedBroker broker(RefuseChannel(
        [](Dialogue& peer)
        {
            RefuseWith504(peer);
            peer.OpenChannel(2);
            peer.CloseChannel(2); // and nothing for the first
        }));
    Noted noted;
    const auto connection = Connect(broker);

    auto refused = std::make_shared<Channel>(connection, noted.Notifier());
    auto second = OpenChannel(connection);
    EXPECT_EQ(second->Token(), 2);
    refused.reset();
    second.reset();

    EXPECT_EQ(noted.errors.size(), 1U);
}

TEST(Channel, RefusedByTheBrokerThrowsThroughOnErrorThrow)
{
    ScriptedBroker broker(RefuseChannel(RefuseWith504));
    const auto connection = Connect(broker);

    EXPECT_THAT(ErrorOf([&] { OpenChannel(connection); }), IsError(ErrorCode::ChannelClosed, 504, "too many channels"));
}

// Its own number is 0 as long as the open is not confirmed.
TEST(Channel, ThrowsWhenTheConnectionIsClosedInAnswerToItsOpening)
{
    ScriptedBroker broker(RefuseChannel(
        [](Dialogue& peer)
        {
            peer.Send(0, ConnectionClose{.replyCode = 530, .replyText = "NOT_ALLOWED", .classId = 20, .methodId = 10});
            peer.Expect(0, ConnectionCloseOk{});
        }));
    Noted noted;
    const auto connection = Connect(broker);

    EXPECT_THAT(ErrorOf([&] { Channel(connection, noted.Notifier()); }),
                IsError(ErrorCode::ConnectionClosed, 530, "NOT_ALLOWED"));
    EXPECT_TRUE(noted.errors.empty());
}

TEST(Channel, ThrowsWhenTheSocketIsClosedInAnswerToItsOpening)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.Expect(2, ChannelOpen{});
            peer.Abandon();
        });
    Client client(broker);

    const ErrorCode error = ErrorOf([&] { client.NewChannel(); });
    EXPECT_EQ(error.category, ErrorCode::Library);
    EXPECT_EQ(error.code, 1);
    EXPECT_TRUE(client.noted.errors.empty());
}

TEST(Channel, OnErrorThrowThrowsTheError)
{
    EXPECT_THAT(ErrorOf([] { Channel::OnErrorThrow(ErrorCode("text", ErrorCode::Tcp, 257)); }),
                IsError(ErrorCode::Tcp, 257, "text"));
}

TEST(Channel, GeneratesTagsFromItsNumberAndACounter)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.OpenChannel(2);
            for (const auto& [channel, tag] : {std::pair(2, "2/1"), std::pair(2, "2/2"), std::pair(1, "1/1")})
            {
                const auto number = static_cast<std::uint16_t>(channel);
                peer.Expect(number, BasicConsume{.queue = "q", .consumerTag = tag, .noAck = true});
                peer.Send(number, BasicConsumeOk{.consumerTag = "the broker's own, which is not read"});
            }
            peer.CloseChannel(2);
            peer.CloseChannel(1);
            peer.CloseConnection();
        });
    Client client(broker);
    const auto second = client.NewChannel();
    const auto subscribe = [](Channel& channel) { return channel.Subscribe("q", {}, Amqp::Auto, false, false); };

    EXPECT_EQ(subscribe(*second), "2/1");
    EXPECT_EQ(subscribe(*second), "2/2");
    EXPECT_EQ(subscribe(*client.channel), "1/1");
}

TEST(Channel, GivesAWeakReferenceToItsConnection)
{
    ScriptedBroker broker(OnChannel([](Dialogue&) {}));
    auto connection = Connect(broker);
    auto channel = OpenChannel(connection);
    const std::weak_ptr<Amqp::Connection> reference = channel->Connection();
    EXPECT_EQ(reference.lock(), connection);
    EXPECT_EQ(connection.use_count(), 2) << "one of the channel's, one of the test's";

    connection.reset();
    EXPECT_FALSE(reference.expired()) << "the channel keeps its connection alive";
    channel.reset();
    EXPECT_TRUE(reference.expired());
}

TEST(Channel, GivesItsNotifier)
{
    ScriptedBroker broker(OnChannel([](Dialogue&) {}));
    Client client(broker);

    client.channel->ErrorNotifier()(ErrorCode("text", ErrorCode::Server, 7));

    EXPECT_THAT(client.noted.errors, testing::ElementsAre(IsError(ErrorCode::Server, 7, "text")));
}

TEST(Channel, GivesSharedReferencesToItself)
{
    ScriptedBroker broker(OnChannel([](Dialogue&) {}));
    const auto channel = OpenChannel(Connect(broker));

    EXPECT_EQ(channel->shared_from_this(), channel);
    EXPECT_EQ(channel->weak_from_this().lock(), channel);
}
