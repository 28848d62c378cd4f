// Another thread calls Stop while the loop waits: the step ends at once and without an event, and the next step returns
// false.
#include <algorithm>
#include <filesystem>
#include <future>
#include <iterator>
#include <optional>
#include <thread>

#include <sys/eventfd.h>

#include "Listening.hpp"
#include "Messaging.hpp"

namespace
{

using Clock = std::chrono::steady_clock;

constexpr auto atOnce = 1s;     // long enough for a busy machine
constexpr auto longWait = 3s;   // of a step; if nothing interrupts the step, it takes as long
constexpr auto patience = 3s;   // of the peer
constexpr auto noLimit = 0us;   // of a wait
constexpr auto briefly = 150ms; // of a step that has to wait to the end

struct StoppedStep
{
    std::optional<bool> result{};
    Clock::duration took{}; // from the stop to the end of the step
};

// Runs a step on another thread, and stops it while it waits. If the stop is earlier than the step, the step returns
// false; then tries again with more time to begin.
StoppedStep StopWhileWaiting(const Amqp::Connection& connection, std::chrono::microseconds wait)
{
    StoppedStep stopped;
    for (auto head = 50ms; head < 1s; head *= 2)
    {
        auto step = std::async(std::launch::async, [&] { return connection.Run(wait); });
        std::this_thread::sleep_for(head);
        const auto begun = Clock::now();
        connection.Stop();
        stopped.result = step.get();
        stopped.took = Clock::now() - begun;
        if (stopped.result != false)
        {
            break;
        }
    }
    return stopped;
}

// Notifies the peer that the client's step has ended. If the peer waits in vain, it breaks the connection off.
void TellThePeer(const Client& client)
{
    client.channel->Publish("", "q", "stopped", 0, {});
}

ScriptedBroker::Script UntilTold()
{
    return OnChannel([](Dialogue& peer) { peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties(), "stopped"); });
}

// Destroys a consumer whose peer is silent until the consumer closes its channel.
void ExpectDestroyedAtOnce(std::chrono::microseconds wait)
{
    Event listening;
    ScriptedBroker broker(WithBindings(
        [&](Dialogue& peer)
        {
            AcceptOneBinding(peer);
            peer.ExpectSilence(50ms);
            listening.Set();
        },
        1));
    broker.Deadline(patience);
    Clock::time_point begun;
    {
        Amqp::Consumer consumer(Connect(broker, {}, wait), "ex", {}, "", {});
        consumer.Bind("x", Ignore, false);
        consumer.MainBindingDone();
        ASSERT_TRUE(listening.Wait());
        begun = Clock::now();
    }
    EXPECT_LT(Clock::now() - begun, atOnce);
}

// Returns the descriptors of this process that signal events, in ascending order.
std::vector<int> EventDescriptors()
{
    std::vector<int> found;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
    {
        std::error_code closed; // set if the descriptor was closed meanwhile
        if (std::filesystem::read_symlink(entry.path(), closed) == "anon_inode:[eventfd]")
        {
            found.push_back(std::stoi(entry.path().filename().string()));
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

} // namespace

TEST(StopWait, EndsAStepAtOnceAndMakesTheNextGiveFalse)
{
    ScriptedBroker broker(UntilTold());
    const Client client(broker);

    const StoppedStep stopped = StopWhileWaiting(*client.connection, longWait);
    EXPECT_EQ(stopped.result, std::nullopt);
    EXPECT_LT(stopped.took, atOnce);

    EXPECT_EQ(client.connection->Run(longWait), false);
    TellThePeer(client);
}

TEST(StopWait, EndsAStepThatWaitsWithoutLimit)
{
    ScriptedBroker broker(UntilTold());
    broker.Deadline(patience);
    const Client client(broker);

    const StoppedStep stopped = StopWhileWaiting(*client.connection, noLimit);
    EXPECT_EQ(stopped.result, std::nullopt);
    EXPECT_LT(stopped.took, atOnce);

    EXPECT_EQ(client.connection->Run(noLimit), false);
    TellThePeer(client);
}

TEST(StopWait, EndsAStepInTheMiddleOfAMessage)
{
    ScriptedBroker broker(OnConsumer(
        [](Dialogue& peer)
        {
            peer.Send(1, BasicDeliver{.consumerTag = "1/1"});
            peer.SendFrame(headerFrame, 1, EncodeHeader({.bodySize = 4, .properties = {}}));
            peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties(), "stopped");
            peer.SendFrame(bodyFrame, 1, "body");
            peer.Expect(1, BasicAck{});
        }));
    broker.Deadline(patience);
    const Client client(broker);
    Inbox inbox;
    client.channel->Subscribe("q", inbox.Handler(), Amqp::Explicit, false, false);

    EXPECT_EQ(StopWhileWaiting(*client.connection, noLimit).result, std::nullopt);
    EXPECT_EQ(client.connection->Run(), false);
    TellThePeer(client);
    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(inbox.bodies, testing::ElementsAre("body"));
}

TEST(StopWait, LeavesNothingBehindForTheStepsAfterTheNext)
{
    ScriptedBroker broker(UntilTold());
    const Client client(broker);

    const StoppedStep stopped = StopWhileWaiting(*client.connection, longWait);
    EXPECT_LT(stopped.took, atOnce);
    client.connection->Stop(); // counts as one with the first stop
    EXPECT_EQ(client.connection->Run(longWait), false);

    for (int step = 1; step <= 2; ++step)
    {
        const auto begun = Clock::now();
        EXPECT_EQ(client.connection->Run(briefly), std::nullopt);
        EXPECT_GE(Clock::now() - begun, briefly - 1ms) << "step " << step;
    }
    TellThePeer(client);
}

// Stop sets its flag before it signals the wakeup. So a step may obey the flag before the wakeup is signalled.
TEST(StopWait, LeavesWithAWakeupThatComesLateTheNextStepItsWait)
{
    ScriptedBroker broker(UntilTold());
    const std::vector<int> before = EventDescriptors();
    const Client client(broker);
    std::vector<int> wakeup;
    const std::vector<int> after = EventDescriptors();
    std::set_difference(after.begin(), after.end(), before.begin(), before.end(), std::back_inserter(wakeup));
    ASSERT_EQ(wakeup.size(), 1U);
    client.connection->Stop();
    EXPECT_EQ(client.connection->Run(longWait), false);

    ASSERT_EQ(eventfd_write(wakeup[0], 1), 0);
    const auto begun = Clock::now();
    EXPECT_EQ(client.connection->Run(briefly), std::nullopt);

    EXPECT_GE(Clock::now() - begun, briefly - 1ms);
    TellThePeer(client);
}

TEST(StopWait, LeavesACallThatAwaitsItsReplyAlone)
{
    Event asked;
    Event stopped;
    ScriptedBroker broker(OnChannel(
        [&](Dialogue& peer)
        {
            peer.Expect(1, QueueDeclare{.autoDelete = true});
            asked.Set();
            EXPECT_TRUE(stopped.Wait());
            peer.ExpectSilence(50ms);
            peer.Send(1, QueueDeclareOk{.queue = "amq.gen-1"});
        }));
    const Client client(broker);

    auto call = std::async(std::launch::async, [&] { return client.channel->DeclareQueue(false, false, true); });
    EXPECT_TRUE(asked.Wait());
    client.connection->Stop();
    stopped.Set();

    EXPECT_EQ(call.get(), "amq.gen-1");
    EXPECT_EQ(client.connection->Run(longWait), false);
    EXPECT_EQ(client.connection->Run(1ms), std::nullopt);
}

TEST(StopWait, LetsAConsumerWithALongWaitBeDestroyedAtOnce)
{
    ExpectDestroyedAtOnce(60s);
}

TEST(StopWait, LetsAConsumerWithAnUnlimitedWaitBeDestroyedAtOnce)
{
    ExpectDestroyedAtOnce(noLimit);
}
