// What an operator does under running clients: closes their connections, deletes the queue of a consumer.
#include "Faults.hpp"

namespace
{

constexpr int filled = 10;

class BrokerOperator : public Broker
{
protected:
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(Broker::SetUp());
        queue = Name("queue");
        witness.emplace();
        witness->Declare(queue);
        witness->Fill(queue, 1, filled);
    }

    void TearDown() override
    {
        witness.reset();
        Broker::TearDown();
    }

    // Handles half of the messages, and has the other half at hand.
    void Consume(const std::shared_ptr<Amqp::Connection>& connection)
    {
        channel = OpenChannel(connection);
        channel->Subscribe(queue, inbox.Handler(), Amqp::Explicit, false, false);
        ASSERT_TRUE(RunUntil(*connection, inbox.Has(filled / 2)));
        channel->DeclareQueue(queue); // the broker has the acknowledgements now
    }

    std::string queue;
    std::optional<Witness> witness;
    Inbox inbox;
    std::shared_ptr<Amqp::Channel> channel;
};

} // namespace

TEST_F(BrokerOperator, ClosingAConnectionEndsTheLoopAndGivesItsMessagesToTheNextConsumer)
{
    Login login;
    login.properties.Insert("purpose", queue);
    const auto connection = Connect(login);
    ASSERT_NO_FATAL_FAILURE(Consume(connection));

    Control({"close_connection", ConnectionProcess(queue), "maintenance"});
    const auto begin = Clock::now();
    EXPECT_TRUE(Eventually([&] { return witness->Ready(queue) == filled / 2; }));
    const Ending ending = RunToTheEnd(*connection);

    // What was at hand is handled once more then, but its acknowledgements come too late.
    EXPECT_EQ(Seen(ending), "false");
    EXPECT_EQ(inbox.bodies, Numbers(1, filled));
    ExpectWithin(soon, "closed by an operator, consumer", ending.when - begin);
    EXPECT_EQ(Summary(witness->Take(queue, filled / 2)), Range(filled / 2 + 1, filled, /*redelivered*/ true));
}

// A virtual host of its own, so that nobody else is closed.
TEST_F(BrokerOperator, ClosingAllConnectionsEndsEveryLoop)
{
    const std::string host = Name("host");
    Control({"add_vhost", host});
    Control({"set_permissions", "-p", host, User(), ".*", ".*", ".*"});
    const auto one = Connect({.virtualHost = host});
    const auto other = Connect({.virtualHost = host});
    const auto elsewhere = Connect();

    Control({"close_all_connections", "-p", host, "maintenance"});
    const Ending first = RunToTheEnd(*one);
    const Ending second = RunToTheEnd(*other);
    Control({"delete_vhost", host});

    EXPECT_EQ(Seen(first), "false");
    EXPECT_EQ(Seen(second), "false");
    EXPECT_EQ(elsewhere->Run(), std::nullopt);
}

// The broker has said goodbye, waits for the answer, and drops whatever else it reads: only who reads can know.
TEST_F(BrokerOperator, ClosingAPublisherIsSeenByItsNextRunAndNotByItsNextPublish)
{
    Login login;
    login.properties.Insert("purpose", queue);
    const auto connection = Connect(login);
    Noted noted;
    const auto publishing = std::make_shared<Amqp::Channel>(connection, noted.Notifier());
    publishing->Publish("", queue, "11", 0, {});
    publishing->DeclareQueue(queue);

    Control({"close_connection", ConnectionProcess(queue), "maintenance"});
    publishing->Publish("", queue, "12", 0, {});
    EXPECT_TRUE(noted.errors.empty());
    const Ending ending = RunToTheEnd(*connection);

    EXPECT_EQ(Seen(ending), "false");
    EXPECT_TRUE(noted.errors.empty());
    EXPECT_EQ(Summary(witness->Take(queue, filled + 1)), Range(1, filled + 1));
}

TEST_F(BrokerOperator, DeletingAQueueIsNotSeenByAConsumerThatDidNotAskForIt)
{
    const auto connection = Connect();
    ASSERT_NO_FATAL_FAILURE(Consume(connection));

    Control({"delete_queue", queue});
    EXPECT_TRUE(RunUntil(*connection, inbox.Has(filled)));

    // Not even that the acknowledgements mean nothing any more.
    EXPECT_EQ(inbox.bodies, Numbers(1, filled));
    EXPECT_EQ(connection->Run(500ms), std::nullopt);
    EXPECT_NO_THROW(channel->DeclareQueue(queue, true, false, false));
    witness->Fill(queue, 11, 11);
    EXPECT_EQ(connection->Run(500ms), std::nullopt); // the consumer went with the old queue
    EXPECT_EQ(Summary(witness->Take(queue, 1)), "11");
}

TEST_F(BrokerOperator, DeletingAQueueIsThrownByTheLoopOfAConsumerThatAskedForIt)
{
    Amqp::Table capabilities;
    capabilities.Insert("consumer_cancel_notify", true);
    Login login;
    login.properties.Insert("capabilities", capabilities);
    const auto connection = Connect(login);
    ASSERT_NO_FATAL_FAILURE(Consume(connection));

    Control({"delete_queue", queue});
    const auto begin = Clock::now();
    const Ending ending = RunToTheEnd(*connection);

    EXPECT_EQ(Seen(ending), "category 3, code 2: Unexpected Amqp method received 3932190"); // basic.cancel
    EXPECT_EQ(inbox.bodies, Numbers(1, filled)); // what was at hand comes first
    ExpectWithin(soon, "queue deleted, consumer", ending.when - begin);
    EXPECT_NO_THROW(OpenChannel(connection)->DeclareQueue(queue, true, false, false)); // the connection lives
}
