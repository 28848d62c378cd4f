// What becomes of a message at the broker, by the mode of its subscription and the verdict of its handler.
#include "Broker.hpp"

#include <stdexcept>

using testing::ElementsAre;
using testing::HasSubstr;

namespace
{

constexpr Messages oneUnacknowledged{.ready = 0, .unacknowledged = 1};

class BrokerAcknowledge : public BrokerWithQueue
{
protected:
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(BrokerWithQueue::SetUp());
        consuming = OpenChannel(connection);
    }

    void TearDown() override
    {
        consuming.reset();
        BrokerWithQueue::TearDown();
    }

    // One message, handled once.
    void Handle(Amqp::AcknowledgeMode mode, Amqp::Acknowledge verdict)
    {
        channel->Publish("", queue, "message", 0, {});
        consuming->Subscribe(queue, inbox.Handler(verdict), mode, false, false);
        ASSERT_TRUE(RunUntil(*connection, inbox.Has(1)));
        EXPECT_THAT(inbox.bodies, ElementsAre("message"));
        consuming->DeclareQueue(queue); // whatever was sent before has been dealt with now
    }

    Inbox inbox;
    std::shared_ptr<Amqp::Channel> consuming;
};

} // namespace

TEST_F(BrokerAcknowledge, ExplicitLeavesTheMessageUnacknowledgedUntilItIsHandled)
{
    channel->Publish("", queue, "message", 0, {});
    consuming->Subscribe(queue, inbox.Handler(), Amqp::Explicit, false, false);

    EXPECT_TRUE(Holds(queue, oneUnacknowledged));
    EXPECT_TRUE(inbox.bodies.empty());
}

TEST_F(BrokerAcknowledge, ExplicitAckEmptiesTheQueueForGood)
{
    Handle(Amqp::Explicit, Amqp::Ack);
    EXPECT_TRUE(Holds(queue, nothing));

    consuming.reset();

    EXPECT_THAT(Drain(), ElementsAre("last"));
}

TEST_F(BrokerAcknowledge, ExplicitNackDropsTheMessage)
{
    Handle(Amqp::Explicit, Amqp::Nack);
    EXPECT_TRUE(Holds(queue, nothing));

    consuming.reset();

    EXPECT_THAT(Drain(), ElementsAre("last"));
}

TEST_F(BrokerAcknowledge, ExplicitNackDeadLettersTheMessageWhereAPolicySaysSo)
{
    const std::string deadLetters = ExclusiveQueue(*channel, "dead-letters");
    DeadLetter(queue, deadLetters);
    Inbox dead;
    channel->Subscribe(deadLetters, dead.Handler(), Amqp::Auto, false, false);

    Handle(Amqp::Explicit, Amqp::Nack);
    EXPECT_TRUE(RunUntil(*connection, dead.Has(1)));

    ASSERT_THAT(dead.bodies, ElementsAre("message"));
    const auto& headers = dead.properties[0].Headers().Entries();
    ASSERT_EQ(headers.count("x-death"), 1U);
    EXPECT_EQ(std::get<Amqp::Array>(headers.at("x-death")).Size(), 1U);
    EXPECT_EQ(std::get<std::string>(headers.at("x-first-death-queue")), queue);
    EXPECT_EQ(std::get<std::string>(headers.at("x-first-death-reason")), "rejected");
}

TEST_F(BrokerAcknowledge, ExplicitRequeueBringsTheMessageAgain)
{
    channel->Publish("", queue, "message", 0, {});
    int calls = 0;
    consuming->Subscribe(
        queue,
        [&](const Amqp::Envelope& envelope)
        {
            EXPECT_EQ(Text(envelope), "message");
            return ++calls < 3 ? Amqp::Requeue : Amqp::Ack;
        },
        Amqp::Explicit, false, false);

    EXPECT_TRUE(RunUntil(*connection, [&] { return calls == 3; }));
    consuming.reset();

    EXPECT_EQ(calls, 3);
    EXPECT_THAT(Drain(), ElementsAre("last"));
}

TEST_F(BrokerAcknowledge, NoneLeavesTheMessageUnacknowledgedUntilTheChannelCloses)
{
    Handle(Amqp::None, Amqp::Ack);
    EXPECT_TRUE(Holds(queue, oneUnacknowledged));

    consuming.reset();

    EXPECT_THAT(Drain(), ElementsAre("message", "last"));
}

TEST_F(BrokerAcknowledge, AutoLeavesNothingEvenBeforeTheMessageIsHandled)
{
    channel->Publish("", queue, "message", 0, {});
    consuming->Subscribe(queue, inbox.Handler(), Amqp::Auto, false, false);
    EXPECT_TRUE(Holds(queue, nothing));

    consuming.reset();

    EXPECT_THAT(Drain(), ElementsAre("last"));
}

TEST_F(BrokerAcknowledge, AutoSendsNoVerdict)
{
    Handle(Amqp::Auto, Amqp::Nack);

    // A verdict on what is acknowledged already would have closed the channel.
    EXPECT_NO_THROW(consuming->DeclareQueue(queue));
    EXPECT_FALSE(connection->Run(1ms).has_value());
}

TEST_F(BrokerAcknowledge, AHandlerThatThrowsLeavesTheMessageToTheNextChannel)
{
    channel->Publish("", queue, "message", 0, {});
    const auto refuse = [](const Amqp::Envelope&) -> Amqp::Acknowledge { throw std::domain_error("not today"); };
    consuming->Subscribe(queue, refuse, Amqp::Explicit, false, false);

    EXPECT_THROW(RunUntil(*connection, [] { return false; }), std::domain_error);
    consuming.reset();

    EXPECT_THAT(Drain(), ElementsAre("message", "last"));
}

TEST_F(BrokerAcknowledge, AVerdictForAChannelThatTheBrokerHasClosedMeanwhileIsNotSent)
{
    Noted noted;
    consuming = std::make_shared<Amqp::Channel>(connection, noted.Notifier());
    const std::string missing = Name("missing");
    channel->Publish("", queue, "message", 0, {});
    const auto ruinChannel = [&](const Amqp::Envelope&)
    {
        consuming->DeclareQueue(missing);
        return Amqp::Ack;
    };
    consuming->Subscribe(queue, ruinChannel, Amqp::Explicit, false, false);

    EXPECT_TRUE(RunUntil(*connection, [&] { return !noted.errors.empty(); }));

    EXPECT_THAT(Drain(), ElementsAre("message", "last")); // and the connection lives
}

TEST_F(BrokerAcknowledge, UnsubscribedConsumersReceiveNothingMore)
{
    const std::string tag = consuming->Subscribe(queue, inbox.Handler(), Amqp::Explicit, false, false);

    consuming->Unsubscribe(tag);
    channel->Publish("", queue, "message", 0, {});

    EXPECT_THAT(Drain(), ElementsAre("message", "last"));
    EXPECT_TRUE(inbox.bodies.empty());
}

TEST_F(BrokerAcknowledge, AHandlerMayUnsubscribeItself)
{
    channel->Publish("", queue, "one", 0, {});
    channel->Publish("", queue, "two", 0, {});
    const std::string tag = "own";
    int calls = 0;
    consuming->SubscribeRpc(
        tag, queue,
        [&](const Amqp::Envelope&)
        {
            ++calls;
            consuming->Unsubscribe(tag);
            return Amqp::Ack;
        },
        Amqp::Explicit, false, false);
    ASSERT_TRUE(RunUntil(*connection, [&] { return calls != 0; }));

    // The second one was on its way already: it is not handled, and waits for the channel to close.
    consuming.reset();
    EXPECT_THAT(Drain(), ElementsAre("two", "last"));
    EXPECT_EQ(calls, 1);
}

TEST_F(BrokerAcknowledge, ConsumersAreKnownToTheBrokerByTagAndMode)
{
    const std::string generated = consuming->Subscribe(queue, &Ignore, Amqp::Explicit, false, false);
    consuming->SubscribeRpc("chosen-none", queue, &Ignore, Amqp::None, false, false);
    consuming->SubscribeRpc("chosen-auto", queue, &Ignore, Amqp::Auto, false, false);

    const std::string list = Control({"list_consumers", "queue_name", "consumer_tag", "ack_required"});

    EXPECT_EQ(generated, "2/1");
    EXPECT_THAT(list, HasSubstr(queue + "\t2/1\ttrue"));
    EXPECT_THAT(list, HasSubstr(queue + "\tchosen-none\ttrue"));
    EXPECT_THAT(list, HasSubstr(queue + "\tchosen-auto\tfalse"));
}
