// The broker refuses an operation by closing its channel: the channel's notifier is told, the operation returns
// normally, and all else goes on.
#include <cstdint>
#include <string>
#include <tuple>

#include "Messaging.hpp"
#include "TopologyCases.hpp"

namespace
{

using Amqp::Channel;
using Amqp::ErrorCode;

class RefusalOf : public testing::TestWithParam<std::tuple<Operation, std::uint16_t>>
{
};

// The operations of the topology, and the other one that awaits a reply first thing on a channel.
std::vector<Operation> EachCall()
{
    std::vector<Operation> calls = EachOperation();
    calls.push_back(Case(
        "Subscribe", [](Channel& c) { c.Subscribe("q", {}, Amqp::Auto, false, false); },
        BasicConsume{.queue = "q", .consumerTag = "1/1", .noAck = true}, BasicConsumeOk{}));
    calls.push_back(Case(
        "SubscribeRpc", [](Channel& c) { c.SubscribeRpc("tag", "q", {}, Amqp::None, true, true); },
        BasicConsume{.queue = "q", .consumerTag = "tag", .noLocal = true, .exclusive = true}, BasicConsumeOk{}));
    return calls;
}

std::string TextFor(std::uint16_t code)
{
    return "refused with " + std::to_string(code) + std::string("\0\xFF", 2);
}

void Refuse(Dialogue& peer, std::uint16_t code)
{
    peer.Send(1, ChannelClose{.replyCode = code, .replyText = TextFor(code), .classId = 50, .methodId = 10});
    peer.Expect(1, ChannelCloseOk{});
}

} // namespace

TEST_P(RefusalOf, ReachesTheNotifierAndLeavesOtherChannelsAlone)
{
    const Operation& operation = std::get<0>(GetParam());
    const std::uint16_t code = std::get<1>(GetParam());
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.OpenChannel(2);
            operation.expect(peer);
            Refuse(peer, code);
            peer.Expect(2, QueuePurge{.queue = "other"});
            peer.Send(2, QueuePurgeOk{});
            peer.CloseChannel(2); // and not channel 1
            peer.CloseConnection();
        });
    Noted noted;
    const auto connection = Connect(broker);
    const auto refused = std::make_shared<Channel>(connection, noted.Notifier());
    const auto other = OpenChannel(connection);

    EXPECT_NO_THROW(operation.call(*refused));

    ASSERT_EQ(noted.errors.size(), 1U);
    EXPECT_EQ(noted.errors[0].category, ErrorCode::ChannelClosed);
    EXPECT_EQ(noted.errors[0].code, code);
    EXPECT_EQ(noted.errors[0].message, TextFor(code)) << "byte for byte";
    EXPECT_EQ(refused->Token(), 1);
    EXPECT_NO_THROW(other->PurgeQueue("other"));
}

INSTANTIATE_TEST_SUITE_P(Each, RefusalOf,
                         testing::Combine(testing::ValuesIn(EachCall()), testing::Values<std::uint16_t>(404, 405, 406)),
                         [](const auto& instance) {
                             return std::get<0>(instance.param).name + "With" +
                                    std::to_string(std::get<1>(instance.param));
                         });

TEST(Refusal, OfAPassiveDeclareOfAMissingExchangeIs404AndKeepsTheOldNumber)
{
    const std::string text = "NOT_FOUND - no exchange 'missing' in vhost '/'";
    ScriptedBroker broker(OnDroppedChannel(
        [&](Dialogue& peer)
        {
            peer.Expect(1, ExchangeDeclare{.exchange = "missing", .type = "", .passive = true});
            peer.Send(1, ChannelClose{.replyCode = 404, .replyText = text, .classId = 40, .methodId = 10});
            peer.Expect(1, ChannelCloseOk{});
        }));
    Client client(broker);

    client.channel->DeclareExchange("missing");

    EXPECT_THAT(client.noted.errors, testing::ElementsAre(IsError(ErrorCode::ChannelClosed, 404, text)));
    EXPECT_EQ(client.channel->Token(), 1);
}

TEST(Refusal, OfAnUnnamedDeclareQueueGivesNoName)
{
    ScriptedBroker broker(OnDroppedChannel(
        [](Dialogue& peer)
        {
            peer.Expect(1, QueueDeclare{.durable = true});
            Refuse(peer, 406);
        }));
    Client client(broker);

    EXPECT_EQ(client.channel->DeclareQueue(true, false, false), "");
    EXPECT_EQ(client.noted.errors.size(), 1U);
}

TEST(Refusal, IsThrownByANotifierThatThrows)
{
    ScriptedBroker broker(OnDroppedChannel(
        [](Dialogue& peer)
        {
            peer.Expect(1, QueuePurge{.queue = "q"});
            Refuse(peer, 404);
        }));
    const auto channel = OpenChannel(Connect(broker));

    const ErrorCode error = ErrorOf([&] { channel->PurgeQueue("q"); });

    EXPECT_EQ(error.category, ErrorCode::ChannelClosed);
    EXPECT_EQ(error.code, 404);
    EXPECT_EQ(error.message, TextFor(404));
}

// A broker would answer by closing the connection, and the channels that are well with it.
TEST(Refusal, LeavesAChannelWhoseUseThrowsWithNothingSent)
{
    ScriptedBroker broker(OnDroppedChannel(
        [](Dialogue& peer)
        {
            peer.Expect(1, QueuePurge{.queue = "q"});
            Refuse(peer, 404);
            peer.OpenChannel(2);
            peer.CloseChannel(2);
        }));
    Client client(broker);
    client.channel->PurgeQueue("q");

    EXPECT_THAT(ErrorOf([&] { client.channel->PurgeQueue("again"); }), IsUseOfAClosedChannel());
    EXPECT_THAT(ErrorOf([&] { client.channel->Subscribe("q", Ignore, Amqp::Auto, false, false); }),
                IsUseOfAClosedChannel());
    EXPECT_THAT(ErrorOf([&] { client.channel->Publish("", "q", "text", 0, {}); }), IsUseOfAClosedChannel());

    EXPECT_EQ(client.noted.errors.size(), 1U);
    OpenChannel(client.connection);
}

TEST(Refusal, MayBeAnsweredByDestroyingTheChannel)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.Expect(1, QueueDeclare{});
            Refuse(peer, 404);
            peer.OpenChannel(2);
            peer.CloseChannel(2);
            peer.CloseConnection();
        });
    const auto connection = Connect(broker);
    std::shared_ptr<Channel> channel;
    const std::string marker = "held by the notifier, which is destroyed with its channel";
    std::string told;
    channel = std::make_shared<Channel>(connection,
                                        [&channel, &told, marker](ErrorCode&& error)
                                        {
                                            channel.reset();
                                            told = marker + ": " + std::to_string(error.code);
                                        });

    EXPECT_EQ(channel->DeclareQueue(false, false, false), "");

    EXPECT_EQ(told, marker + ": 404");
    EXPECT_EQ(channel, nullptr);
    EXPECT_EQ(OpenChannel(connection)->Token(), 2) << "the connection goes on";
}

TEST(Refusal, MayBeAnsweredByDestroyingTheChannelThatHoldsTheConnection)
{
    ScriptedBroker broker(OnDroppedChannel(
        [](Dialogue& peer)
        {
            peer.Expect(1, BasicConsume{.queue = "q", .consumerTag = "1/1", .noAck = true});
            Refuse(peer, 404);
        }));
    std::shared_ptr<Channel> channel;
    channel = std::make_shared<Channel>(Connect(broker), [&](ErrorCode&&) { channel.reset(); });
    const std::weak_ptr<Amqp::Connection> connection = channel->Connection();

    EXPECT_EQ(channel->Subscribe("q", {}, Amqp::Auto, false, false), "1/1");

    EXPECT_EQ(channel, nullptr);
    EXPECT_TRUE(connection.expired());
}
