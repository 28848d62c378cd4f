// The broker stands still: its sockets are open, the system goes on acknowledging what arrives, but nobody reads and
// nobody answers. Heartbeats tell; without them, and with a freeze that is shorter than they take, it goes on.
#include "PrivateBroker.hpp"

#include <future>
#include <utility>

namespace
{

constexpr auto patience = 15s; // then the broker goes on, and what hangs gets its answer

class BrokerFreeze : public PrivateBroker
{
protected:
    std::string FilledQueue(int messages)
    {
        std::string queue = Name("queue");
        Witness witness;
        witness.Declare(queue);
        witness.Fill(queue, 1, messages);
        return queue;
    }

    Publisher::Task Stream(std::size_t size, std::string_view what = "stream")
    {
        const std::string queue = Name(what);
        Witness().Declare(queue);
        return {.queue = queue, .size = size, .pause = 10ms, .persistent = false};
    }

    // What a publisher meets, and what of it arrives in the end.
    void ExpectSilenceNoticed(std::string_view what, std::size_t size)
    {
        const Publisher::Task task = Stream(size);
        Publisher publisher(Connect({.heartbeat = heartbeat}), task);
        ASSERT_TRUE(Eventually([&] { return publisher.Published() >= 10; }));
        Frozen frozen(Process(), patience);
        EXPECT_TRUE(publisher.AwaitEnd());
        EXPECT_TRUE(frozen.Thaw()) << "the publisher had to be rescued";
        ASSERT_TRUE(publisher.AwaitEnd());

        EXPECT_EQ(Seen(publisher), silence);
        ExpectWithin(noticed, what, publisher.when - frozen.Since());
        ExpectBeginning(task.queue, publisher);
    }

    // No gap, nothing twice.
    static void ExpectBeginning(const std::string& queue, const Publisher& publisher)
    {
        Witness witness;
        int count = -1;
        EXPECT_TRUE(Eventually(
            [&]
            {
                const int before = std::exchange(count, witness.Ready(queue));
                return count == before && count >= 10;
            }));
        const std::vector<Taken> taken = witness.Take(queue, 0);
        EXPECT_LE(taken.size(), static_cast<std::size_t>(publisher.Published()) + 1);
        EXPECT_EQ(Summary(taken), Range(1, static_cast<int>(taken.size())));
    }
};

} // namespace

TEST_F(BrokerFreeze, MakesRunThrowAndItsMessagesGoToTheNextConsumer)
{
    constexpr int messages = 10;
    const std::string queue = FilledQueue(messages);
    Witness witness; // which is quick: rabbitmqctl may take longer than the broker waits for heartbeats
    auto polling = Connect({.wait = 100ms, .heartbeat = heartbeat});
    auto waiting = Connect({.wait = patience, .heartbeat = heartbeat});
    auto calling = Connect({.heartbeat = heartbeat});
    auto channel = OpenChannel(polling);
    auto callingChannel = OpenChannel(calling);
    channel->Subscribe(queue, Inbox().Handler(), Amqp::None, false, false);
    ASSERT_TRUE(Eventually([&] { return witness.Ready(queue) == 0; }));

    Frozen frozen(Process(), patience);
    auto other = std::async(std::launch::async,
                            [&]
                            {
                                const auto first = waiting->Run();
                                Ending ending = RunToTheEnd(*waiting);
                                return std::pair(first, ending);
                            });
    auto call = std::async(std::launch::async,
                           [&]
                           {
                               const auto error = ErrorOf([&] { callingChannel->DeclareQueue(queue); });
                               return Ending{{}, error, Clock::now()};
                           });
    const Ending polled = RunToTheEnd(*polling);
    const auto [first, waited] = other.get();
    const Ending called = call.get();
    const auto before = Clock::now();
    channel.reset();
    polling.reset();
    waiting.reset();
    callingChannel.reset();
    calling.reset();
    const auto destruction = Clock::now() - before;
    EXPECT_TRUE(frozen.Thaw());

    // The first thing is a wait like any other that ends empty.
    EXPECT_EQ(first, std::nullopt);
    EXPECT_EQ(Seen(polled), silence);
    EXPECT_EQ(Seen(waited), silence);
    EXPECT_EQ(Seen(called), "category 2, code 1: heartbeat timeout, connection closed");
    ExpectWithin(noticed, "frozen, loop of short waits", polled.when - frozen.Since());
    ExpectWithin(noticed, "frozen, one long wait", waited.when - frozen.Since());
    ExpectWithin(noticed, "frozen, call that awaits a reply", called.when - frozen.Since());
    ExpectWithin(noticed, "frozen, destruction after that", destruction);
    EXPECT_EQ(Summary(witness.Take(queue, messages)), Range(1, messages, /*redelivered*/ true));
}

TEST_F(BrokerFreeze, IsNoticedByAPublisherOfSmallMessages)
{
    ExpectSilenceNoticed("frozen, publisher of small messages", 0);
}

TEST_F(BrokerFreeze, IsNoticedByAPublisherThatFillsTheSocket)
{
    ExpectSilenceNoticed("frozen, publisher of large messages", 1'000'000);
}

TEST_F(BrokerFreeze, IsNoErrorWhenShorterThanTheHeartbeatsOrWithoutThem)
{
    const Publisher::Task task = Stream(0);
    const Publisher::Task other = Stream(0, "carefree");
    Publisher publisher(Connect({.heartbeat = 10s}), task);
    Publisher carefree(Connect(), other);
    const auto running = Connect({.heartbeat = 10s});
    {
        const Frozen frozen(Process(), patience);
        const int before = publisher.Published();
        const int beforeCarefree = carefree.Published();
        EXPECT_EQ(running->Run(1500ms), std::nullopt);
        EXPECT_GT(publisher.Published(), before); // into the socket, for the time being
        EXPECT_GT(carefree.Published(), beforeCarefree);
    }
    EXPECT_EQ(running->Run(), std::nullopt);
    publisher.Stop();
    carefree.Stop();
    ASSERT_TRUE(publisher.AwaitEnd());
    ASSERT_TRUE(carefree.AwaitEnd());

    EXPECT_EQ(Seen(publisher), "");
    EXPECT_EQ(Seen(carefree), "");
    EXPECT_EQ(Summary(Witness().Take(task.queue, publisher.Published())), Range(1, publisher.Published()));
    EXPECT_EQ(Summary(Witness().Take(other.queue, carefree.Published())), Range(1, carefree.Published()));
}
