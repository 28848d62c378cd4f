// The network between client and broker is cut, falls silent, or is slow. The broker itself is well.
#include "Faults.hpp"

#include <future>
#include <utility>

#include "support/Proxy.hpp"

namespace
{

constexpr int messages = 10;
const std::string connectionClosed = "category 2, code 7: connection closed unexpectedly";

class BrokerNetwork : public Broker
{
protected:
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(Broker::SetUp());
        proxy.emplace(Port());
        witness.emplace();
        queue = Name("queue");
        stream = Name("stream");
        witness->Declare(queue);
        witness->Declare(stream);
        witness->Fill(queue, 1, messages);
    }

    void TearDown() override
    {
        witness.reset();
        proxy.reset();
        Broker::TearDown();
    }

    std::shared_ptr<Amqp::Connection> Through(std::chrono::seconds interval = 0s) const
    {
        return Connect({.heartbeat = interval, .port = proxy->Port()});
    }

    // Subscribed, and sent all the messages of the queue, none of which it acknowledges.
    std::pair<std::shared_ptr<Amqp::Connection>, std::shared_ptr<Amqp::Channel>> Consumer(std::chrono::seconds interval)
    {
        auto connection = Through(interval);
        auto channel = OpenChannel(connection);
        auto inbox = std::make_shared<Inbox>();
        const auto handle = [inbox](const Amqp::Envelope& message) { return inbox->Handler()(message); };
        channel->Subscribe(queue, handle, Amqp::None, false, false);
        EXPECT_TRUE(RunUntil(*connection, inbox->Has(messages)));
        return {connection, channel};
    }

    void ExpectAllForTheNextConsumer()
    {
        EXPECT_EQ(Summary(witness->Take(queue, messages)), Range(1, messages, /*redelivered*/ true));
    }

    // Of what was published there is no gap, and nothing twice, whether it was lost with the network or not.
    void ExpectTheBeginning(const Publisher& publisher, int atLeast)
    {
        const std::vector<Taken> taken = witness->Take(stream, atLeast);
        std::cout << "  published without an error: " << publisher.Published() << ", arrived: " << taken.size() << "\n";
        EXPECT_GE(taken.size(), static_cast<std::size_t>(atLeast));
        EXPECT_LE(taken.size(), static_cast<std::size_t>(publisher.Published()) + 1);
        EXPECT_EQ(Summary(taken), Range(1, static_cast<int>(taken.size())));
    }

    // Cuts the connections of a consumer and of a publisher, neither with heartbeats.
    void CutBy(void (Wire::Proxy::*cut)(), const std::string& runSees, const std::string& what)
    {
        const auto [connection, channel] = Consumer(0s);
        Publisher publisher(Through(), {.queue = stream});
        ASSERT_TRUE(Eventually([&] { return witness->Ready(stream) >= 10; }));

        ((*proxy).*cut)();
        const auto begin = Clock::now();
        const Ending ending = RunToTheEnd(*connection);
        ASSERT_TRUE(publisher.AwaitEnd());

        EXPECT_EQ(Seen(ending), runSees);
        EXPECT_EQ(Seen(publisher), socketError);
        ExpectWithin(soon, what + ", consumer", ending.when - begin);
        ExpectWithin(soon, what + ", publisher", publisher.when - begin);
        ExpectAllForTheNextConsumer();
        ExpectTheBeginning(publisher, 10);
    }

    std::optional<Wire::Proxy> proxy;
    std::optional<Witness> witness;
    std::string queue;
    std::string stream;
};

} // namespace

TEST_F(BrokerNetwork, ClosedMakesRunThrowAndAPublishFail)
{
    CutBy(&Wire::Proxy::Close, connectionClosed, "closed");
}

TEST_F(BrokerNetwork, ResetMakesRunThrowAndAPublishFail)
{
    CutBy(&Wire::Proxy::Reset, socketError, "reset");
}

TEST_F(BrokerNetwork, FallenSilentIsNoticedByTheirHeartbeats)
{
    const std::string other = Name("other");
    witness->Declare(other);
    Publisher small(Through(heartbeat), {.queue = stream, .pause = 10ms});
    Publisher large(Through(heartbeat), {.queue = other, .size = 1'000'000, .pause = 10ms, .persistent = false});
    ASSERT_TRUE(Eventually([&] { return witness->Ready(stream) >= 10 && large.Published() >= 3; }));
    const auto [connection, channel] = Consumer(heartbeat);

    proxy->Pause(Wire::Proxy::ToServer);
    proxy->Swallow(Wire::Proxy::ToClient);
    const auto begin = Clock::now();
    const Ending ending = RunToTheEnd(*connection);
    ASSERT_TRUE(small.AwaitEnd());
    ASSERT_TRUE(large.AwaitEnd());

    EXPECT_EQ(Seen(ending), silence);
    EXPECT_EQ(Seen(small), silence);
    EXPECT_EQ(Seen(large), silence);
    ExpectWithin(noticed, "silent, consumer", ending.when - begin);
    ExpectWithin(noticed, "silent, publisher of small messages", small.when - begin);
    ExpectWithin(noticed, "silent, publisher of large messages", large.when - begin);
    ExpectAllForTheNextConsumer(); // when the broker, too, has noticed
    ExpectTheBeginning(small, 10);
}

TEST_F(BrokerNetwork, SilentInOneDirectionIsNoticedAndWhatWasPublishedArrives)
{
    Publisher publisher(Through(heartbeat), {.queue = stream, .pause = 10ms});
    ASSERT_TRUE(Eventually([&] { return witness->Ready(stream) >= 10; }));

    proxy->Swallow(Wire::Proxy::ToClient);
    const auto begin = Clock::now();
    ASSERT_TRUE(publisher.AwaitEnd());

    EXPECT_EQ(Seen(publisher), silence);
    ExpectWithin(noticed, "silent from the broker, publisher", publisher.when - begin);
    EXPECT_GT(publisher.Published(), 10);
    ExpectTheBeginning(publisher, publisher.Published());
}

// A message takes far longer than heartbeats need to tell, but octets come and go all the time.
TEST_F(BrokerNetwork, SlownessIsNotTakenForSilence)
{
    constexpr std::size_t perSecond = 2'000'000;
    const std::string body(3 * perSecond, 'x');
    const std::string large = Name("large");
    witness->Declare(large);
    const auto direct = Connect();
    OpenChannel(direct)->Publish("", large, body, 0, {});
    const auto receiving = Through(heartbeat);
    const auto sending = Through(heartbeat);
    const auto receiver = OpenChannel(receiving);
    const auto sender = OpenChannel(sending);
    proxy->Limit(Wire::Proxy::ToServer, perSecond);
    proxy->Limit(Wire::Proxy::ToClient, perSecond);

    const auto begin = Clock::now();
    auto up = std::async(std::launch::async,
                         [&]
                         {
                             sender->Publish("", stream, body, 0, {});
                             sender->DeclareQueue(stream); // and the reply comes after it
                             return Clock::now() - begin;
                         });
    Inbox inbox;
    receiver->Subscribe(large, inbox.Handler(), Amqp::Explicit, false, false);
    EXPECT_TRUE(RunUntil(*receiving, inbox.Has(1)));
    const auto down = Clock::now() - begin;
    EXPECT_NO_THROW(receiver->DeclareQueue(large));
    const auto sent = up.get();

    EXPECT_GT(down, 2 * heartbeat);
    EXPECT_GT(sent, 2 * heartbeat);
    ASSERT_EQ(inbox.bodies.size(), 1U);
    EXPECT_TRUE(inbox.bodies[0] == body);
    EXPECT_TRUE(Holds(large, {.ready = 0, .unacknowledged = 0}));
    EXPECT_TRUE(Holds(stream, {.ready = 1, .unacknowledged = 0}));
}

TEST_F(BrokerNetwork, PausedForAWhileLosesNothing)
{
    const auto connection = Through(10s);
    const auto channel = OpenChannel(connection);
    Inbox inbox;
    Publisher publisher(Through(10s), {.queue = stream, .pause = 5ms});
    ASSERT_TRUE(Eventually([&] { return publisher.Published() >= 10; }));
    channel->Subscribe(queue, inbox.Handler(), Amqp::Explicit, false, false);
    ASSERT_TRUE(RunUntil(*connection, inbox.Has(messages)));

    proxy->Pause(Wire::Proxy::ToServer);
    proxy->Pause(Wire::Proxy::ToClient);
    const int before = publisher.Published();
    witness->Fill(queue, messages + 1, 2 * messages);
    EXPECT_EQ(connection->Run(1s), std::nullopt);
    EXPECT_GT(publisher.Published(), before);
    proxy->Resume(Wire::Proxy::ToServer);
    proxy->Resume(Wire::Proxy::ToClient);
    EXPECT_TRUE(RunUntil(*connection, inbox.Has(std::size_t{2} * messages)));
    publisher.Stop();
    ASSERT_TRUE(publisher.AwaitEnd());

    EXPECT_EQ(inbox.bodies, Numbers(1, 2 * messages));
    EXPECT_TRUE(Holds(queue, {.ready = 0, .unacknowledged = 0}));
    EXPECT_EQ(Seen(publisher), "");
    ExpectTheBeginning(publisher, publisher.Published());
}
