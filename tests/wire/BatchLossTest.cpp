// Batches on connections and channels that come to an end before them: errors are what they are without.
#include <memory>
#include <optional>
#include <thread>

#include "Batches.hpp"
#include "LoginOptions.hpp"
#include "values/RabbitMq.hpp"

namespace
{

using Amqp::ErrorCode;
using Clock = std::chrono::steady_clock;

auto IsEndOfStream()
{
    return IsError(ErrorCode::Library, -AMQP_STATUS_CONNECTION_CLOSED,
                   amqp_error_string2(AMQP_STATUS_CONNECTION_CLOSED));
}

// A batch that does nothing: neither says so nor keeps an error from the notifier.
void ExpectIdle(Client& client)
{
    {
        const Amqp::Batch batch(*client.channel);
        EXPECT_FALSE(batch.Gathers());
        client.channel->Publish("", "q", "lost", 0, {});
        EXPECT_EQ(client.noted.errors.size(), 1U);
    }
    const Amqp::Batch again(*client.channel);
    EXPECT_FALSE(again.Gathers());
}

// What the notifier is told by a publish on a connection that the peer has reset.
std::vector<ErrorCode> ErrorsAfterReset(bool inABatch)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            ReceiveNumbers(peer);
            peer.Reset();
        });
    WatchedClient client(broker);
    std::optional<Amqp::Batch> batch;
    if (inABatch)
    {
        batch.emplace(*client.channel);
    }
    client.PublishLast();

    const auto end = Clock::now() + 10s;
    while (client.noted.errors.empty() && Clock::now() < end)
    {
        client.channel->Publish("", "q", "lost", 0, {});
    }
    client.channel->Publish("", "q", "lost, too", 0, {});
    EXPECT_NO_THROW(batch.reset());
    return client.noted.errors;
}

} // namespace

TEST(BatchLoss, MakesItDoNothingAfterTheBrokerHasClosedTheConnection)
{
    ScriptedBroker broker(WithConnectionClosed());
    Client client(broker);
    EXPECT_EQ(client.connection->Run(), false);

    ExpectIdle(client);
    EXPECT_THAT(client.noted.errors, testing::ElementsAre(IsEndOfStream()));
}

TEST(BatchLoss, MakesItDoNothingAfterTheEndOfTheStream)
{
    ScriptedBroker broker(&LoginAndEnd);
    Client client(broker);
    EXPECT_THAT(ErrorOf([&] { client.connection->Run(); }), IsEndOfStream());

    ExpectIdle(client);
    EXPECT_THAT(client.noted.errors, testing::ElementsAre(IsEndOfStream()));
}

TEST(BatchLoss, MakesAnInnerOneDoNothing)
{
    ScriptedBroker broker(WithConnectionClosed());
    Client client(broker);
    const Amqp::Batch outer(*client.channel);
    EXPECT_TRUE(outer.Gathers());
    EXPECT_EQ(client.connection->Run(), false);

    const Amqp::Batch inner(*client.channel);

    EXPECT_FALSE(inner.Gathers());
}

TEST(BatchLoss, OfTheConnectionGivesTheErrorsThatItGivesWithout)
{
    const std::vector<ErrorCode> without = ErrorsAfterReset(false);
    ASSERT_EQ(without.size(), 2U);

    const std::vector<ErrorCode> within = ErrorsAfterReset(true);

    ASSERT_EQ(within.size(), 2U);
    EXPECT_THAT(within[0], IsError(without[0].category, without[0].code, std::string(without[0].what())));
    EXPECT_THAT(within[1], IsError(without[1].category, without[1].code, std::string(without[1].what())));
}

TEST(BatchLoss, OfAChannelThatItsNotifierDestroys)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.OpenChannel(2);
            ReceiveNumbers(peer);
            peer.CloseChannel(1);
            peer.CloseConnection();
        });
    WatchedClient client(broker);
    std::unique_ptr<Amqp::Channel> doomed;
    doomed = std::make_unique<Amqp::Channel>(client.connection, [&](ErrorCode&&) { doomed.reset(); });

    {
        const Amqp::Batch batch(*doomed);
        doomed->Publish("", tooLong, "cannot be sent", 0, {});
        EXPECT_EQ(doomed, nullptr);
        EXPECT_TRUE(client.PublishUntilHeld());
    }

    EXPECT_TRUE(client.HoldsNothingBack());
    EXPECT_FALSE(client.IsCorked());
    client.PublishLast();
}

TEST(BatchLoss, IsThatOfTheBatchWhenANotifierEndsItDuringACall)
{
    ScriptedBroker broker(OnDroppedChannel(
        [](Dialogue& peer)
        {
            peer.Expect(1, QueuePurge{.queue = "q"});
            peer.Send(1, ChannelClose{.replyCode = 404, .replyText = "NOT_FOUND"});
            peer.Expect(1, ChannelCloseOk{});
        }));
    const auto connection = Connect(broker);
    std::optional<Amqp::Batch> batch;
    const auto channel = std::make_shared<Amqp::Channel>(connection, [&](ErrorCode&&) { batch.reset(); });
    batch.emplace(*channel);

    channel->PurgeQueue("q");

    EXPECT_FALSE(batch.has_value());
    EXPECT_FALSE(IsCorked(SocketTo(broker.Port())));
}
