// Queues, exchanges and bindings as the broker has them afterwards, and what is routed through them.
#include "Broker.hpp"

using testing::ElementsAre;
using testing::StartsWith;

namespace
{

class BrokerTopology : public BrokerWithQueue
{
protected:
    void Publish(std::string_view exchange, std::string_view routingKey, std::string_view body)
    {
        channel->Publish(exchange, routingKey, body, 0, {});
    }
};

} // namespace

TEST_F(BrokerTopology, QueuesHaveTheFlagsTheyAreDeclaredWith)
{
    const std::string durable = Name("durable");
    const std::string exclusive = Name("exclusive");
    const std::string autoDelete = Name("auto-delete");

    channel->DeclareQueue(durable, true, false, false);
    channel->DeclareQueue(exclusive, false, true, false);
    channel->DeclareQueue(autoDelete, false, false, true);

    auto queues = List("list_queues", {"durable", "exclusive", "auto_delete"});
    EXPECT_EQ(queues[durable], "true false false");
    EXPECT_EQ(queues[exclusive], "false true false");
    EXPECT_EQ(queues[autoDelete], "false false true");
}

TEST_F(BrokerTopology, ExchangesHaveTheTypeAndFlagsTheyAreDeclaredWith)
{
    const std::string direct = Name("direct");
    const std::string fanout = Name("fanout");
    const std::string topic = Name("topic");
    const std::string headers = Name("headers");

    channel->DeclareExchange(direct, Amqp::Direct, false, false, false);
    channel->DeclareExchange(fanout, Amqp::Fanout, true, false, false);
    channel->DeclareExchange(topic, Amqp::Topic, false, true, false);
    channel->DeclareExchange(headers, Amqp::Headers, false, false, true);

    auto exchanges = List("list_exchanges", {"type", "durable", "internal", "auto_delete"});
    EXPECT_EQ(exchanges[direct], "direct false false false");
    EXPECT_EQ(exchanges[fanout], "fanout true false false");
    EXPECT_EQ(exchanges[topic], "topic false true false");
    EXPECT_EQ(exchanges[headers], "headers false false true");
}

TEST_F(BrokerTopology, AQueueWithoutANameGetsOneFromTheBroker)
{
    const std::string first = channel->DeclareQueue(false, true, true);
    const std::string second = channel->DeclareQueue(false, true, true);

    EXPECT_THAT(first, StartsWith("amq.gen-"));
    EXPECT_THAT(second, StartsWith("amq.gen-"));
    EXPECT_NE(first, second);
    EXPECT_EQ(List("list_queues", {"durable", "exclusive", "auto_delete"})[first], "false true true");
}

TEST_F(BrokerTopology, APassiveDeclareFindsWhatIsThere)
{
    const std::string exchange = Exchange("exchange");

    EXPECT_NO_THROW(channel->DeclareQueue(queue));
    EXPECT_NO_THROW(channel->DeclareExchange(exchange));
    EXPECT_NO_THROW(channel->DeclareExchange("amq.topic"));
}

TEST_F(BrokerTopology, ABoundQueueReceivesWhatMatchesUntilItIsUnbound)
{
    const std::string exchange = Exchange("exchange");
    channel->BindQueue(queue, exchange, "key");
    channel->BindQueue(queue, exchange, "other");
    Publish(exchange, "key", "bound");
    Publish(exchange, "unknown", "unmatched");

    channel->UnbindQueue(queue, exchange, "key");
    Publish(exchange, "key", "unbound");
    Publish(exchange, "other", "still bound");

    EXPECT_THAT(Drain(), ElementsAre("bound", "still bound", "last"));
}

TEST_F(BrokerTopology, ABoundExchangeReceivesWhatMatchesUntilItIsUnbound)
{
    const std::string source = Exchange("source", Amqp::Topic);
    const std::string destination = Exchange("destination", Amqp::Fanout);
    channel->BindQueue(queue, destination, "");
    channel->BindExchange(destination, source, "a.*");
    Publish(source, "a.b", "bound");
    Publish(source, "b.a", "unmatched");

    channel->UnbindExchange(destination, source, "a.*");
    Publish(source, "a.b", "unbound");

    EXPECT_THAT(Drain(), ElementsAre("bound", "last"));
}

TEST_F(BrokerTopology, PurgeEmptiesAQueue)
{
    Publish("", queue, "one");
    Publish("", queue, "two");

    channel->PurgeQueue(queue);

    EXPECT_THAT(Drain(), ElementsAre("last"));
}

TEST_F(BrokerTopology, DestroyedQueuesAndExchangesAreGone)
{
    const std::string exchange = Exchange("exchange");
    ASSERT_TRUE(ExchangeExists(exchange));
    ASSERT_TRUE(QueueExists(queue));

    channel->DestroyExchange(exchange, false);
    channel->DestroyQueue(queue, false, false);

    EXPECT_FALSE(ExchangeExists(exchange));
    EXPECT_FALSE(QueueExists(queue));
}

TEST_F(BrokerTopology, AQueueInUseCanBeDestroyedIfEmpty)
{
    channel->Subscribe(queue, &Ignore, Amqp::Explicit, false, false);

    channel->DestroyQueue(queue, /*ifEmpty*/ true, /*ifUnused*/ false);

    EXPECT_FALSE(QueueExists(queue));
}

TEST_F(BrokerTopology, AFilledQueueCanBeDestroyedIfUnused)
{
    Publish("", queue, "message");

    channel->DestroyQueue(queue, /*ifEmpty*/ false, /*ifUnused*/ true);

    EXPECT_FALSE(QueueExists(queue));
}

TEST_F(BrokerTopology, AnExchangeInUseIsDestroyedUnlessAsked)
{
    const std::string exchange = Exchange("exchange");
    channel->BindQueue(queue, exchange, "key");

    channel->DestroyExchange(exchange, /*ifUnused*/ false);

    EXPECT_FALSE(ExchangeExists(exchange));
}

TEST_F(BrokerTopology, AnAutoDeletedQueueGoesWithItsLastConsumer)
{
    const std::string autoDelete = Name("auto-delete");
    channel->DeclareQueue(autoDelete, false, false, true);
    const std::string tag = channel->Subscribe(autoDelete, &Ignore, Amqp::Auto, false, false);
    ASSERT_TRUE(QueueExists(autoDelete));

    channel->Unsubscribe(tag);

    EXPECT_TRUE(Eventually([&] { return !QueueExists(autoDelete); }));
}
