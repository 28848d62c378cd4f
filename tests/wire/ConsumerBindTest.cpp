// The bindings of a consumer: the dialogue of each, and what is logged meanwhile.
#include <string>

#include "Listening.hpp"

namespace
{

using Amqp::Consumer;
using Amqp::ErrorCode;

} // namespace

TEST(ConsumerBind, DeclaresAndBindsAQueueNamedByPrefixAndKey)
{
    ScriptedBroker broker(WithBindings([](Dialogue& peer) { AcceptBinding(peer, 1, "p.x", "p.x", "x"); }, 1));
    Log log;
    Consumer consumer(Connect(broker), "ex", log.Sink(), "p.", {});

    consumer.Bind("x", Ignore, false);

    EXPECT_THAT(log.Lines(), testing::ElementsAre("RabbitMQ: Binding x"));
}

TEST(ConsumerBind, NamesTheQueueByTheKeyAloneWhenThePrefixIsEmpty)
{
    ScriptedBroker broker(WithBindings([](Dialogue& peer) { AcceptBinding(peer, 1, "x", "x", "x"); }, 1));
    Consumer consumer(Connect(broker), "ex", {}, "", {});

    EXPECT_NO_THROW(consumer.Bind("x", Ignore, false));
}

TEST(ConsumerBind, BindsTwoQueuesThatTheBrokerNamedWithTheirOwnKeys)
{
    ScriptedBroker broker(WithBindings(
        [](Dialogue& peer)
        {
            AcceptBinding(peer, 1, "", "amq.gen-1", "orders.*");
            AcceptBinding(peer, 2, "", "amq.gen-2", "#");
        },
        2));
    Log log;
    Consumer consumer(Connect(broker), "ex", log.Sink(), "prefix that is not used", {});

    consumer.Bind("orders.*", Ignore, true);
    consumer.Bind("#", Ignore, true);

    EXPECT_THAT(log.Lines(), testing::ElementsAre("RabbitMQ: Binding orders.*", "RabbitMQ: Binding #"));
    EXPECT_THAT(log.OnThisThread(), testing::Each(true));
}

TEST(ConsumerBind, OpensAChannelForEachBinding)
{
    ScriptedBroker broker(WithBindings(
        [](Dialogue& peer)
        {
            AcceptBinding(peer, 1, "p.a", "p.a", "a");
            AcceptBinding(peer, 2, "", "amq.gen-1", "b");
            AcceptBinding(peer, 3, "p.c", "p.c", "c");
        },
        3));
    Consumer consumer(Connect(broker), "ex", {}, "p.", {});

    EXPECT_NO_THROW(consumer.Bind("a", Ignore, false));
    EXPECT_NO_THROW(consumer.Bind("b", Ignore, true));
    EXPECT_NO_THROW(consumer.Bind("c", Ignore, false));
}

// A string that is too long drops every channel. The broker closes dropped channels together with the connection.
TEST(ConsumerBind, LeavesTheChannelOfABindingThatFailedHalfWayToTheEndOfTheConnection)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            AcceptTopicExchange(peer, 1);
            AcceptBinding(peer, 2, "x", "x", "x");
            peer.CloseChannel(2);
            peer.CloseConnection();
        });
    Consumer consumer(Connect(broker), "ex", {}, "", {});

    EXPECT_THROW(consumer.Bind(std::string(256, 'k'), Ignore, false), ErrorCode);
    EXPECT_NO_THROW(consumer.Bind("x", Ignore, false));
}

TEST(ConsumerBind, LogsBeforeItTouchesTheConnection)
{
    Log log;
    Consumer consumer(nullptr, "ex", log.Sink(), "", {});

    EXPECT_THAT([&] { consumer.Bind("x", Ignore, false); },
                testing::ThrowsMessage<std::runtime_error>("Unable to create a channel on a null connection"));
    EXPECT_THAT(log.Lines(), testing::ElementsAre("RabbitMQ: Binding x"));
}

// A refusal ends no step: the operation returns normally, and the next one is tried on the closed channel.
TEST(ConsumerBind, LogsTheTextOfARefusalUnprefixedAndThrows)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            peer.Receive<ExchangeDeclare>(1);
            peer.Send(1, ChannelClose{.replyCode = 406, .replyText = "PRECONDITION_FAILED - inequivalent arg 'type'"});
            peer.Expect(1, ChannelCloseOk{});
            peer.CloseConnection();
        });
    Log log;
    Consumer consumer(Connect(broker), "ex", log.Sink(), "", {});

    EXPECT_THAT(ErrorOf([&] { consumer.Bind("x", Ignore, false); }), IsUseOfAClosedChannel());

    EXPECT_THAT(log.Lines(),
                testing::ElementsAre("RabbitMQ: Binding x", "PRECONDITION_FAILED - inequivalent arg 'type'"));
}

TEST(ConsumerBind, IgnoresARefusalWhenThereIsNoLog)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            AcceptTopicExchange(peer, 1);
            peer.Expect(1, QueueDeclare{.queue = "x", .durable = true, .autoDelete = true});
            peer.Send(1, QueueDeclareOk{.queue = "x"});
            peer.Receive<QueueBind>(1);
            peer.Send(1, QueueBindOk{});
            peer.Receive<BasicConsume>(1);
            peer.Send(1, ChannelClose{.replyCode = 403, .replyText = "ACCESS_REFUSED"});
            peer.Expect(1, ChannelCloseOk{});
            peer.CloseConnection();
        });
    Consumer consumer(Connect(broker), "ex", {}, "", {});

    EXPECT_NO_THROW(consumer.Bind("x", Ignore, false));
}

TEST(Consumer, ThatWasNeverStartedLogsNothingAndJoinsNothing)
{
    ScriptedBroker broker(WithBindings([](Dialogue&) {}, 0));
    Log log;
    const auto connection = Connect(broker, {}, 10ms);

    {
        const Consumer consumer(connection, "ex", log.Sink(), "", {});
    }

    EXPECT_TRUE(log.Lines().empty());
    EXPECT_EQ(connection->Run(), std::nullopt) << "a stop that was asked for would give false";
}

TEST(Consumer, TalksToNoBrokerWhenItIsMade)
{
    EXPECT_NO_THROW(Consumer(nullptr, "ex", {}, "p.", {}));
}

TEST(Consumer, RefusesToListenOnANullConnection)
{
    Log log;
    Consumer consumer(nullptr, "ex", log.Sink(), "p.", {});

    EXPECT_THAT([&] { consumer.MainBindingDone(); },
                testing::ThrowsMessage<std::runtime_error>("Unable to listen on a null connection"));
    EXPECT_TRUE(log.Lines().empty());
}
