// Messages published with a callback: the broker sends back the ones that it cannot route, and only those.
#include "Broker.hpp"

#include <map>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

// What came back, by value.
struct Returned
{
    std::string body;
    std::string exchange;
    std::string routingKey;
    unsigned replyCode;
    Amqp::MetaData properties;
};

class BrokerReturn : public BrokerWithQueue
{
protected:
    Amqp::PublishCallback Note()
    {
        return [this](const Amqp::Envelope& envelope, const Amqp::AckStatus& status)
        {
            returned.push_back({Text(envelope), std::string(status.exchange), std::string(status.routingKey),
                                status.replyCode, envelope});
        };
    }

    // Runs the loop until everything published so far has been dealt with: until a last message has come back.
    void RunToTheEnd()
    {
        bool last = false;
        channel->Publish("", "nowhere", "last", 0, [&](const Amqp::Envelope&, const Amqp::AckStatus&) { last = true; });
        EXPECT_TRUE(RunUntil(*connection, [&] { return last; }));
    }

    std::vector<Returned> returned;
};

} // namespace

TEST_F(BrokerReturn, AnUnroutableMessageComesBackOnceWithCode312)
{
    const std::string exchange = Exchange("exchange", Amqp::Topic);

    channel->Publish(exchange, "no.such.key", "body", 0, Note());
    RunToTheEnd();

    ASSERT_EQ(returned.size(), 1U);
    EXPECT_EQ(returned[0].body, "body");
    EXPECT_EQ(returned[0].exchange, exchange);
    EXPECT_EQ(returned[0].routingKey, "no.such.key");
    EXPECT_EQ(returned[0].replyCode, 312U);
}

TEST_F(BrokerReturn, AnUnroutableMessageKeepsItsPropertiesButForTheMessageId)
{
    Amqp::Envelope message("body", Amqp::MetaData::NonPersistent);
    message.MessageId("mine");
    message.CorrelationId("correlation");
    message.Headers().Insert("key", 7);

    channel->Publish("", "nowhere", message, 0, Note());
    RunToTheEnd();

    ASSERT_EQ(returned.size(), 1U);
    const Amqp::MetaData& properties = returned[0].properties;
    EXPECT_EQ(properties.MessageId(), "1");
    EXPECT_EQ(properties.CorrelationId(), "correlation");
    EXPECT_EQ(properties.ContentType(), "text/plain");
    EXPECT_EQ(properties.DeliveryMode(), Amqp::MetaData::NonPersistent);
    EXPECT_EQ(std::get<std::int32_t>(properties.Headers().Entries().at("key")), 7);
    EXPECT_EQ(message.MessageId(), "mine");
}

TEST_F(BrokerReturn, ARoutedMessageIsDeliveredWithItsNumberAndNeverReturned)
{
    Inbox inbox;
    channel->Subscribe(queue, inbox.Handler(), Amqp::Auto, false, false);

    channel->Publish("", queue, "body", 0, Note());
    RunToTheEnd();

    EXPECT_TRUE(RunUntil(*connection, inbox.Has(1)));
    ASSERT_THAT(inbox.bodies, ElementsAre("body"));
    EXPECT_EQ(inbox.properties[0].MessageId(), "1");
    EXPECT_THAT(returned, IsEmpty());
}

TEST_F(BrokerReturn, WithoutACallbackAnUnroutableMessageIsLostAndARoutedOneKeepsItsId)
{
    Inbox inbox;
    channel->Subscribe(queue, inbox.Handler(), Amqp::Auto, false, false);
    Amqp::Envelope message("body", Amqp::MetaData::Persistent);
    message.MessageId("1"); // would be taken for a number if it were sent back

    channel->Publish("", "nowhere", message, 0, {});
    channel->Publish("", queue, message, 0, {});
    channel->Publish("", "nowhere", "numbered", 0, Note());
    RunToTheEnd();

    EXPECT_TRUE(RunUntil(*connection, inbox.Has(1)));
    EXPECT_EQ(inbox.properties.at(0).MessageId(), "1");
    ASSERT_EQ(returned.size(), 1U);
    EXPECT_EQ(returned[0].body, "numbered");
}

TEST_F(BrokerReturn, OutOfAHundredMixedMessagesExactlyTheUnroutableOnesComeBack)
{
    Inbox inbox;
    channel->Subscribe(queue, inbox.Handler(), Amqp::Auto, false, false);
    const auto secondChannel = OpenChannel(connection);
    std::vector<std::string> routed;
    std::map<std::string, int> expected;
    std::map<std::string, int> calls;

    for (int i = 0; i < 100; ++i)
    {
        const std::string body = std::to_string(i);
        const bool routable = i % 3 == 0;
        const auto& publisher = i % 2 == 0 ? channel : secondChannel;
        if (routable)
        {
            routed.push_back(body);
        }
        else
        {
            expected[body] = 1;
        }
        publisher->Publish("", routable ? queue : "nowhere", body, 0,
                           [&calls, body](const Amqp::Envelope& envelope, const Amqp::AckStatus&)
                           {
                               EXPECT_EQ(Text(envelope), body);
                               ++calls[body];
                           });
    }
    EXPECT_TRUE(RunUntil(*connection, [&] { return calls.size() >= expected.size() && inbox.Has(routed.size())(); }));
    RunToTheEnd();

    EXPECT_EQ(calls, expected);
    EXPECT_THAT(inbox.bodies, testing::UnorderedElementsAreArray(routed));
}

TEST_F(BrokerReturn, ALargeMessageComesBackWhole)
{
    const std::string body(1 << 20, 'x');

    channel->Publish("", "nowhere", body, 0, Note());
    RunToTheEnd();

    ASSERT_EQ(returned.size(), 1U);
    EXPECT_TRUE(returned[0].body == body) << returned[0].body.size() << " bytes";
}

TEST_F(BrokerReturn, TheCallbackMaySendTheMessageElsewhere)
{
    Inbox inbox;
    channel->Subscribe(queue, inbox.Handler(), Amqp::Auto, false, false);

    channel->Publish("", "nowhere", "body", 0,
                     [&](const Amqp::Envelope& envelope, const Amqp::AckStatus&)
                     { channel->Publish("", queue, envelope, 0, Note()); });

    EXPECT_TRUE(RunUntil(*connection, inbox.Has(1)));
    EXPECT_THAT(inbox.bodies, ElementsAre("body"));
    EXPECT_EQ(inbox.properties.at(0).MessageId(), "2");
    EXPECT_THAT(returned, IsEmpty());
}
