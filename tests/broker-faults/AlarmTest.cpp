// The broker is short of memory: it reads nothing more from connections that publish, until that is over, but it lives
// and sends its heartbeats. Consumers go on.
#include "PrivateBroker.hpp"

namespace
{

class BrokerAlarm : public PrivateBroker
{
protected:
    void TearDown() override
    {
        Clear();
        PrivateBroker::TearDown();
    }

    void Raise() { Control({"set_vm_memory_high_watermark", "0"}); }
    void Clear() { Control({"set_vm_memory_high_watermark", "absolute", "2GB"}); }

    std::string Queue(std::string_view what)
    {
        std::string queue = Name(what);
        Witness().Declare(queue);
        return queue;
    }
};

} // namespace

TEST_F(BrokerAlarm, DoesNotStopAConsumer)
{
    constexpr int messages = 20;
    const std::string queue = Queue("queue");
    Witness().Fill(queue, 1, messages);
    Inbox inbox;
    Raise();
    {
        // In use all the time: whoever is not run is taken for silent by the broker.
        const auto connection = Connect({.heartbeat = heartbeat});
        const auto channel = OpenChannel(connection);
        channel->Subscribe(queue, inbox.Handler(), Amqp::Explicit, false, false);
        EXPECT_TRUE(RunUntil(*connection, inbox.Has(messages)));
        EXPECT_EQ(connection->Run(2500ms), std::nullopt); // heartbeats go on as well
        channel->DeclareQueue(queue);
    }

    EXPECT_EQ(inbox.bodies, Numbers(1, messages));
    EXPECT_TRUE(Holds(queue, {.ready = 0, .unacknowledged = 0}));
}

// The one fills its socket and has to wait, for much longer than it takes to notice a silent broker; the other has room
// for all that it has to say, and nobody reads it for a while.
TEST_F(BrokerAlarm, HoldsUpPublishersAndIsNotTakenForSilence)
{
    const Publisher::Task much{
        .queue = Queue("much"), .size = 1'000'000, .most = 50, .pause = 0ms, .persistent = false};
    const Publisher::Task little{.queue = Queue("little"), .pause = 50ms, .persistent = false};
    Witness witness;
    Raise();
    Publisher full(Connect({.heartbeat = heartbeat}), much);
    Publisher sparing(Connect({.heartbeat = heartbeat}), little);
    ASSERT_TRUE(Eventually([&] { return full.Published() > 0 && sparing.Published() > 0; }));
    std::this_thread::sleep_for(4 * heartbeat);
    EXPECT_LT(full.Published(), much.most);
    EXPECT_GT(sparing.Published(), 20);
    EXPECT_LE(witness.Ready(little.queue), 2); // the broker may finish what it was at
    EXPECT_FALSE(full.Ended()) << Seen(full);
    EXPECT_FALSE(sparing.Ended()) << Seen(sparing);

    Clear();
    ASSERT_TRUE(full.AwaitEnd());
    sparing.Stop();
    ASSERT_TRUE(sparing.AwaitEnd());
    EXPECT_EQ(Seen(full), "");
    EXPECT_EQ(Seen(sparing), "");
    std::cout << "  alarm, longest publish: "
              << std::chrono::duration_cast<std::chrono::milliseconds>(full.longest).count() << " ms\n";
    EXPECT_GT(full.longest, 2 * heartbeat);
    EXPECT_EQ(Summary(witness.Take(much.queue, much.most)), Range(1, much.most));
    EXPECT_EQ(Summary(witness.Take(little.queue, sparing.Published())), Range(1, sparing.Published()));
}
