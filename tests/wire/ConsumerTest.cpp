// The listening thread of a consumer: what it handles, how it is stopped, and what is logged on which thread.
#include <string>

#include "Listening.hpp"

namespace
{

using Amqp::Consumer;
using Amqp::Envelope;

// A step short enough for a test to wait for its end.
constexpr std::chrono::microseconds shortWait = 5ms;

Amqp::DeliveryHandler Setting(Event& event)
{
    return [&event](const Envelope&)
    {
        event.Set();
        return Amqp::Ack;
    };
}

} // namespace

TEST(Consumer, HandsDeliveriesToTheirHandlersInOrderOnItsThreadAndAcknowledgesNone)
{
    ScriptedBroker broker(WithBindings(
        [](Dialogue& peer)
        {
            AcceptOneBinding(peer);
            AcceptBinding(peer, 2, "y", "y", "y");
            DeliverToTheFirst(peer, "one");
            peer.Deliver(2, {.consumerTag = "2/1"}, {}, "two");
            DeliverToTheFirst(peer, "three");
        },
        2));
    Event done;
    Log handled;
    const auto handler = [&](const std::string& key, Amqp::Acknowledge verdict)
    {
        return [&, key, verdict](const Envelope& envelope)
        {
            handled.Sink()(key + " " + std::string(envelope.ViewBody(0, envelope.Size())));
            if (handled.Lines().size() == 3)
            {
                done.Set();
            }
            return verdict;
        };
    };
    Consumer consumer(Connect(broker, {}, shortWait), "ex", {}, "", {});
    consumer.Bind("x", handler("x", Amqp::Requeue), false);
    consumer.Bind("y", handler("y", Amqp::Nack), false);

    consumer.MainBindingDone();
    ASSERT_TRUE(done.Wait());

    EXPECT_THAT(handled.Lines(), testing::ElementsAre("x one", "y two", "x three"));
    EXPECT_THAT(handled.OnThisThread(), testing::Each(false));
}

TEST(Consumer, KeepsListeningWhenARunGivesNoValueOverAndOver)
{
    ScriptedBroker broker(WithBindings(
        [](Dialogue& peer)
        {
            AcceptOneBinding(peer);
            peer.ExpectSilence(100ms); // many steps
            DeliverToTheFirst(peer, "late");
        },
        1));
    Event handled;
    Consumer consumer(Connect(broker, {}, shortWait), "ex", {}, "", {});
    consumer.Bind("x", Setting(handled), false);

    consumer.MainBindingDone();
    EXPECT_TRUE(handled.Wait());
}

TEST(Consumer, LogsBindingListeningAndStoppingInThatOrderEachOnItsThread)
{
    ScriptedBroker broker(WithBindings(AcceptOneBinding, 1));
    Log log;
    {
        Event listening;
        const auto sink = [&](std::string_view line)
        {
            log.Sink()(line);
            if (line == "RabbitMQ: Listening...")
            {
                listening.Set();
            }
        };
        Consumer consumer(Connect(broker, {}, shortWait), "ex", sink, "", {});
        consumer.Bind("x", Ignore, false);
        consumer.MainBindingDone();
        ASSERT_TRUE(listening.Wait());
    }

    EXPECT_THAT(log.Lines(),
                testing::ElementsAre("RabbitMQ: Binding x", "RabbitMQ: Listening...", "RabbitMQ: Stop listening..."));
    EXPECT_THAT(log.OnThisThread(), testing::ElementsAre(true, false, true));
}

TEST(Consumer, ListensAndStopsWithoutALog)
{
    ScriptedBroker broker(WithBindings(AcceptOneBinding, 1));
    Consumer consumer(Connect(broker, {}, shortWait), "ex", {}, "", {});
    consumer.Bind("x", Ignore, false);

    EXPECT_NO_THROW(consumer.MainBindingDone());
}

TEST(Consumer, StopsAStepThatWaits)
{
    Event waiting;
    ScriptedBroker broker(WithBindings(
        [&](Dialogue& peer)
        {
            AcceptOneBinding(peer);
            peer.ExpectSilence(50ms);
            waiting.Set();
        },
        1));
    const auto connection = Connect(broker, {}, 200ms);
    std::chrono::steady_clock::time_point begun;
    {
        Consumer consumer(connection, "ex", {}, "", {});
        consumer.Bind("x", Ignore, false);
        consumer.MainBindingDone();
        ASSERT_TRUE(waiting.Wait());
        begun = std::chrono::steady_clock::now();
    }

    EXPECT_LT(std::chrono::steady_clock::now() - begun, 4s);
    EXPECT_EQ(connection->Run(1ms), std::nullopt) << "the stop was used up by the listening thread";
}

TEST(Consumer, LogsTheTextOfALaterChannelErrorUnprefixedOnItsThread)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            AcceptOneBinding(peer);
            AcceptBinding(peer, 2, "y", "y", "y");
            peer.Send(1, ChannelClose{.replyCode = 404, .replyText = "NOT_FOUND"});
            peer.Deliver(2, {.consumerTag = "2/1"}, {}, "goes on");
            peer.CloseChannel(2);
            peer.CloseConnection();
        });
    Event handled;
    Log log;
    Consumer consumer(Connect(broker, {}, shortWait), "ex", log.Sink(), "", {});
    consumer.Bind("x", Ignore, false);
    consumer.Bind("y", Setting(handled), false);

    consumer.MainBindingDone();
    ASSERT_TRUE(handled.Wait());

    EXPECT_THAT(log.Lines(), testing::ElementsAre("RabbitMQ: Binding x", "RabbitMQ: Binding y",
                                                  "RabbitMQ: Listening...", "Broker requested channel close"));
    EXPECT_THAT(log.OnThisThread(), testing::ElementsAre(true, true, false, false));
}
