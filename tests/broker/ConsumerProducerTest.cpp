// A consumer and a producer, each on a connection of its own.
#include "Broker.hpp"

#include <algorithm>
#include <mutex>

using testing::Contains;
using testing::ElementsAre;
using testing::StartsWith;

namespace
{

// What was noted on the listening thread.
class SharedNotes
{
public:
    void Add(std::string_view note)
    {
        const std::lock_guard lock(mutex);
        notes.emplace_back(note);
    }

    std::vector<std::string> Get() const
    {
        const std::lock_guard lock(mutex);
        return notes;
    }

    auto Log()
    {
        return [this](std::string_view line) { Add(line); };
    }

    Amqp::DeliveryHandler Handler()
    {
        return [this](const Amqp::Envelope& envelope)
        {
            Add(Text(envelope));
            return Amqp::Ack;
        };
    }

    bool WaitFor(const std::string& note) const
    {
        return Eventually(
            [&]
            {
                const std::lock_guard lock(mutex);
                return std::count(notes.begin(), notes.end(), note) != 0;
            });
    }

private:
    mutable std::mutex mutex;
    std::vector<std::string> notes;
};

class BrokerConsumerProducer : public Broker
{
protected:
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(Broker::SetUp());
        exchange = Name("exchange");
        prefix = Name("queues") + '.';
    }

    std::unique_ptr<Amqp::Consumer> MakeConsumer(const Login& login = {})
    {
        const auto note = [this](const std::exception& error) { exceptions.Add(error.what()); };
        return std::make_unique<Amqp::Consumer>(Connect(login), exchange, log.Log(), prefix, note);
    }

    // A consumer that listens on a connection which the loop leaves only for a reason: its wait is a minute.
    std::unique_ptr<Amqp::Consumer> MakePatientConsumer(const std::string& property)
    {
        Login login{.wait = 60s};
        login.properties.Insert("purpose", property);
        auto consumer = MakeConsumer(login);
        consumer->Bind("key", received.Handler(), false);
        consumer->MainBindingDone();
        return consumer;
    }

    Amqp::Producer MakeProducer() { return {Connect(), exchange, {}}; }

    static void Send(Amqp::Producer& producer, std::string_view routingKey, std::string_view body)
    {
        producer.Publish(Amqp::Envelope(body, Amqp::MetaData::NonPersistent), routingKey);
    }

    // Destroys a consumer whose thread has ended, or soon finds out that it is to end.
    static void ExpectEndsSoon(std::unique_ptr<Amqp::Consumer> consumer)
    {
        const auto start = std::chrono::steady_clock::now();
        consumer.reset();
        EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
    }

    std::string exchange;
    std::string prefix;
    SharedNotes log;
    SharedNotes exceptions;
    SharedNotes received;
};

} // namespace

TEST_F(BrokerConsumerProducer, TopicWildcardsReachTheirHandlers)
{
    SharedNotes orders;
    SharedNotes errors;
    auto consumer = MakeConsumer();
    consumer->Bind("orders.*", orders.Handler(), false);
    consumer->Bind("#.error", errors.Handler(), true);
    consumer->MainBindingDone();
    Amqp::Producer producer = MakeProducer();

    Send(producer, "orders.created", "created");
    Send(producer, "orders.error", "failed");
    Send(producer, "error", "plain error");
    Send(producer, "orders.deep.error", "deep error");
    Send(producer, "unrelated", "unrelated");
    Send(producer, "orders.last", "last");
    Send(producer, "last.error", "last");

    EXPECT_TRUE(orders.WaitFor("last"));
    EXPECT_TRUE(errors.WaitFor("last"));
    consumer.reset();
    EXPECT_THAT(orders.Get(), ElementsAre("created", "failed", "last"));
    EXPECT_THAT(errors.Get(), ElementsAre("failed", "plain error", "deep error", "last"));
    EXPECT_THAT(exceptions.Get(), ElementsAre());
}

TEST_F(BrokerConsumerProducer, QueuesAndExchangeAreAtTheBrokerAsPromised)
{
    auto consumer = MakeConsumer();
    consumer->Bind("a.b", received.Handler(), false);
    consumer->Bind("c.d", received.Handler(), false);
    consumer->Bind("c.*", received.Handler(), true);
    consumer->Bind("#", received.Handler(), true);

    auto queues = List("list_queues", {"durable", "exclusive", "auto_delete", "consumers"});
    EXPECT_EQ(queues[prefix + "a.b"], "true false true 1");
    EXPECT_EQ(queues[prefix + "c.d"], "true false true 1");
    EXPECT_EQ(List("list_exchanges", {"type", "durable", "internal", "auto_delete"})[exchange],
              "topic true false false");

    const std::string bindings = Control({"list_bindings", "source_name", "destination_name", "routing_key"});
    EXPECT_THAT(bindings, testing::HasSubstr(exchange + '\t' + prefix + "a.b\ta.b\n"));
    EXPECT_THAT(bindings, testing::HasSubstr(exchange + '\t' + prefix + "c.d\tc.d\n"));
    EXPECT_THAT(bindings, testing::ContainsRegex(exchange + "\tamq.gen-[^\t]*\tc[.][*]\n"));
    EXPECT_THAT(bindings, testing::ContainsRegex(exchange + "\tamq.gen-[^\t]*\t#\n"));
}

TEST_F(BrokerConsumerProducer, QueuesGoWithTheConsumerAndTheExchangeStays)
{
    const auto channel = OpenChannel(Connect());
    auto consumer = MakeConsumer();
    consumer->Bind("key", received.Handler(), false);
    consumer->MainBindingDone();
    EXPECT_NO_THROW(channel->DeclareQueue(prefix + "key"));

    consumer.reset();

    EXPECT_TRUE(Eventually(
        [&]
        {
            Noted refusal;
            Amqp::Channel(channel->Connection().lock(), refusal.Notifier()).DeclareQueue(prefix + "key");
            return !refusal.errors.empty();
        }));
    EXPECT_NO_THROW(channel->DeclareExchange(exchange));
}

TEST_F(BrokerConsumerProducer, AConsumerHearsItsOwnConnection)
{
    // It asks not to (no_local), which RabbitMQ does not heed.
    const auto shared = Connect();
    Amqp::Consumer consumer(shared, exchange, {}, prefix, {});
    consumer.Bind("key", received.Handler(), false);
    Amqp::Producer producer(shared, exchange, {});

    Send(producer, "key", "own");

    EXPECT_TRUE(RunUntil(*shared, [&] { return !received.Get().empty(); }));
    EXPECT_THAT(received.Get(), ElementsAre("own"));
}

TEST_F(BrokerConsumerProducer, ARequestFindsItsReply)
{
    const auto serving = Connect();
    Amqp::Producer replier(serving, exchange, log.Log());
    Amqp::Consumer consumer(serving, exchange, {}, prefix, {});
    consumer.Bind(
        "square",
        [&](const Amqp::Envelope& request)
        {
            const int number = std::stoi(Text(request));
            const std::string result = std::to_string(number * number);
            Amqp::Envelope reply(result, Amqp::MetaData::NonPersistent);
            reply.CorrelationId(request.CorrelationId());
            replier.Reply(reply, request.ReplyTo());
            return Amqp::Ack;
        },
        false);
    consumer.MainBindingDone();

    const auto asking = Connect();
    const auto channel = OpenChannel(asking);
    const std::string replies = channel->DeclareQueue(false, true, true);
    Amqp::Producer producer(asking, exchange, {});
    std::map<std::string, std::string> answers;
    std::vector<std::int32_t> answered;
    channel->Subscribe(
        replies,
        [&](const Amqp::Envelope& reply)
        {
            const auto id = static_cast<std::int32_t>(std::stoi(std::string(reply.CorrelationId())));
            Amqp::Envelope request;
            EXPECT_TRUE(producer.GetRequest(id, request));
            answers[Text(request)] = Text(reply);
            producer.RemoveRequest(id);
            answered.push_back(id);
            return Amqp::Ack;
        },
        Amqp::Explicit, false, false);
    for (const std::string_view number : {"3", "12"})
    {
        Amqp::Envelope request(number, Amqp::MetaData::NonPersistent);
        request.ReplyTo(replies);
        request.CorrelationId(std::to_string(producer.AddRequest(request)));
        producer.Publish(request, "square");
    }

    EXPECT_TRUE(RunUntil(*asking, [&] { return answers.size() == 2; }));

    EXPECT_EQ(answers, (std::map<std::string, std::string>{{"3", "9"}, {"12", "144"}}));
    for (const std::int32_t id : answered)
    {
        Amqp::Envelope request;
        EXPECT_FALSE(producer.GetRequest(id, request));
        EXPECT_THAT(log.Get(), Contains("RabbitMQ Producer: Replying to the queue " + replies + ", correlation id " +
                                        std::to_string(id)));
    }
}

TEST_F(BrokerConsumerProducer, StopsWithinItsWait)
{
    auto consumer = MakeConsumer({.wait = 200ms});
    consumer->Bind("key", received.Handler(), false);
    consumer->MainBindingDone();
    ASSERT_TRUE(log.WaitFor("RabbitMQ: Listening..."));

    ExpectEndsSoon(std::move(consumer));

    EXPECT_THAT(log.Get(),
                ElementsAre("RabbitMQ: Binding key", "RabbitMQ: Listening...", "RabbitMQ: Stop listening..."));
    EXPECT_THAT(exceptions.Get(), ElementsAre());
}

TEST_F(BrokerConsumerProducer, AConnectionClosedByTheBrokerEndsTheThreadQuietly)
{
    const std::string property = Name("property");
    auto consumer = MakePatientConsumer(property);
    const std::string process = ConnectionProcess(property);

    Control({"close_connection", process, "maintenance"});

    ExpectEndsSoon(std::move(consumer));
    EXPECT_THAT(exceptions.Get(), ElementsAre());
}

TEST_F(BrokerConsumerProducer, AConnectionThatBreaksEndsTheThreadWithAnException)
{
    const std::string property = Name("property");
    auto consumer = MakePatientConsumer(property);
    const std::string process = ConnectionProcess(property);

    Control({"eval", "exit(rabbit_misc:string_to_pid(\"" + process + "\"), kill)."});

    EXPECT_TRUE(Eventually([&] { return !exceptions.Get().empty(); }));
    ExpectEndsSoon(std::move(consumer));
    ASSERT_EQ(exceptions.Get().size(), 1U);
    EXPECT_THAT(log.Get(), Contains("RabbitMQ: Exception " + exceptions.Get()[0]));
}

TEST_F(BrokerConsumerProducer, ARefusedQueueIsToldToTheLogAndFailsTheBind)
{
    const auto owner = OpenChannel(Connect());
    owner->DeclareQueue(prefix + "taken", /*durable*/ false, /*exclusive*/ true, /*autoDelete*/ false);
    auto consumer = MakeConsumer();

    // The refusal closes the channel, which Bind then finds unusable.
    const Amqp::ErrorCode error = ErrorOf([&] { consumer->Bind("taken", received.Handler(), false); });

    EXPECT_THAT(error, IsError(Amqp::ErrorCode::ChannelClosed, 504, "Channel is closed"));
    EXPECT_THAT(log.Get(), ElementsAre("RabbitMQ: Binding taken", StartsWith("RESOURCE_LOCKED")));
}
