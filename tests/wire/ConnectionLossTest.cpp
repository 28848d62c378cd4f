// The connection fails while an operation awaits its reply: the error is thrown, and every channel is dropped without
// being told.
#include <string>

#include "Messaging.hpp"
#include "TopologyCases.hpp"
#include "values/RabbitMq.hpp"

namespace
{

using Amqp::ErrorCode;

class LossDuring : public testing::TestWithParam<Operation>
{
};

// Two channels, and the operation on the first; what becomes of it is `rest`.
ScriptedBroker::Script DuringOperation(const Operation& operation, ScriptedBroker::Script rest)
{
    return [&operation, rest = std::move(rest)](Dialogue& peer)
    {
        peer.Login();
        peer.OpenChannel(1);
        peer.OpenChannel(2);
        operation.expect(peer);
        rest(peer);
    };
}

// The error of the operation; neither channel is told of it.
ErrorCode ErrorOfOperation(const Operation& operation, const ScriptedBroker& broker)
{
    Client client(broker);
    const auto other = client.NewChannel();
    const ErrorCode error = ErrorOf([&] { operation.call(*client.channel); });
    EXPECT_TRUE(client.noted.errors.empty());
    return error;
}

} // namespace

// The answer goes out on the number of the channel, not on 0. The client says its own goodbye later, and closes none
// of its channels.
TEST_P(LossDuring, IsThrownWhenTheBrokerClosesTheConnection)
{
    const std::string text("CONNECTION_FORCED \0\xFF", 20);
    ScriptedBroker broker(DuringOperation(GetParam(),
                                          [&](Dialogue& peer)
                                          {
                                              peer.Send(0, ConnectionClose{.replyCode = 320, .replyText = text});
                                              peer.Expect(1, ConnectionCloseOk{});
                                              peer.CloseConnection();
                                          }));

    const ErrorCode error = ErrorOfOperation(GetParam(), broker);

    EXPECT_EQ(error.category, ErrorCode::ConnectionClosed);
    EXPECT_EQ(error.code, 320);
    EXPECT_EQ(error.message, text);
}

TEST_P(LossDuring, IsThrownAsLibraryWithCode1WhenTheSocketCloses)
{
    ScriptedBroker broker(DuringOperation(GetParam(), [](Dialogue& peer) { peer.Abandon(); }));

    EXPECT_THAT(ErrorOfOperation(GetParam(), broker),
                IsError(ErrorCode::Library, 1, amqp_error_string2(AMQP_STATUS_CONNECTION_CLOSED)));
}

TEST_P(LossDuring, IsThrownAsLibraryWithCode1WhenTheSocketIsReset)
{
    ScriptedBroker broker(DuringOperation(GetParam(), [](Dialogue& peer) { peer.Reset(); }));

    EXPECT_THAT(ErrorOfOperation(GetParam(), broker),
                IsError(ErrorCode::Library, 1, amqp_error_string2(AMQP_STATUS_SOCKET_ERROR)));
}

TEST_P(LossDuring, IsThrownWhenAnUnexpectedMethodComesBeforeTheEnd)
{
    ScriptedBroker broker(DuringOperation(GetParam(),
                                          [](Dialogue& peer)
                                          {
                                              peer.Send(1, BasicQosOk{});
                                              peer.Abandon();
                                          }));

    EXPECT_THAT(ErrorOfOperation(GetParam(), broker),
                IsError(ErrorCode::Library, 1, amqp_error_string2(AMQP_STATUS_CONNECTION_CLOSED)));
}

TEST_P(LossDuring, IsThrownWhenTheReplyIsCutShort)
{
    ScriptedBroker broker(
        DuringOperation(GetParam(),
                        [](Dialogue& peer)
                        {
                            const std::string close = FrameBytes({methodFrame, 1, Encode(ChannelClose{})});
                            peer.SendBytes(std::string_view(close).substr(0, close.size() - 1));
                            peer.Abandon();
                        }));

    EXPECT_THAT(ErrorOfOperation(GetParam(), broker),
                IsError(ErrorCode::Library, 1, amqp_error_string2(AMQP_STATUS_CONNECTION_CLOSED)));
}

INSTANTIATE_TEST_SUITE_P(Each, LossDuring, testing::ValuesIn(EachOperation()), nameOfOperation);

TEST(ConnectionLoss, DoesNotComeFromAnUnexpectedMethodBeforeTheReply)
{
    ScriptedBroker broker(OnChannel(
        [](Dialogue& peer)
        {
            peer.Expect(1, QueuePurge{.queue = "q"});
            peer.Send(1, BasicQosOk{});
            peer.Send(0, ConnectionBlocked{.reason = "low on memory"});
            peer.SendHeartbeat();
            peer.Send(1, QueuePurgeOk{});
        }));
    Client client(broker);

    EXPECT_NO_THROW(client.channel->PurgeQueue("q"));
    EXPECT_TRUE(client.noted.errors.empty());
}

TEST(ConnectionLoss, DuringACancelIsThrown)
{
    ScriptedBroker broker(OnDroppedChannel(
        [](Dialogue& peer)
        {
            AcceptConsumer(peer);
            peer.Expect(1, BasicCancel{.consumerTag = "1/1"});
            peer.Send(0, ConnectionClose{.replyCode = 320, .replyText = "CONNECTION_FORCED"});
            peer.Expect(1, ConnectionCloseOk{});
        }));
    Client client(broker);
    const std::string tag = client.channel->Subscribe("q", Inbox().Handler(), Amqp::Explicit, false, false);

    EXPECT_THAT(ErrorOf([&] { client.channel->Unsubscribe(tag); }),
                IsError(ErrorCode::ConnectionClosed, 320, "CONNECTION_FORCED"));
}

TEST(ConnectionLoss, MakesLaterOperationsThrowToo)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.Expect(1, QueuePurge{.queue = "q"});
            peer.Abandon();
        });
    Client client(broker);
    EXPECT_THROW(client.channel->PurgeQueue("q"), ErrorCode);

    EXPECT_EQ(ErrorOf([&] { client.channel->PurgeQueue("q"); }).category, ErrorCode::Library);
    EXPECT_THROW(client.NewChannel(), ErrorCode);
    EXPECT_TRUE(client.noted.errors.empty());
}
