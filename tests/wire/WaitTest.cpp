// How long one step of the run loop waits, and what Stop does to it. A wait never ends early: the library rounds it up.
#include "Messaging.hpp"

#include <thread>

#include "connection/ConnectionImpl.hpp"

namespace
{

using Clock = std::chrono::steady_clock;

constexpr auto briefWait = 150ms;
constexpr auto muchLonger = 3s; // than anything here takes, and less than any deadline

// Sends an event after a while of silence, longer than a wait that is limited by mistake would be.
void SendAfterAWhile(Dialogue& peer)
{
    peer.ExpectSilence(300ms);
    peer.Send(0, ConnectionBlocked{.reason = "low on memory"});
}

} // namespace

TEST(ToTimeval, SplitsAMillionAndAHalfMicrosecondsIntoOneSecondAndTheRest)
{
    const timeval split = Amqp::ToTimeval(1'500'000us);
    EXPECT_EQ(split.tv_sec, 1);
    EXPECT_EQ(split.tv_usec, 500'000);
}

TEST(ToTimeval, KeepsWholeSecondsLessThanASecondAndZero)
{
    const auto split = [](std::chrono::microseconds duration)
    {
        const timeval value = Amqp::ToTimeval(duration);
        return std::pair<long, long>(value.tv_sec, value.tv_usec);
    };
    EXPECT_EQ(split(0us), std::pair(0L, 0L));
    EXPECT_EQ(split(1us), std::pair(0L, 1L));
    EXPECT_EQ(split(999'999us), std::pair(0L, 999'999L));
    EXPECT_EQ(split(1s), std::pair(1L, 0L));
    EXPECT_EQ(split(90min + 7us), std::pair(5400L, 7L));
}

TEST(ToTimeval, KeepsTheLower32BitsOfTheSeconds)
{
    EXPECT_EQ(Amqp::ToTimeval(std::chrono::seconds((std::int64_t{1} << 32) + 5)).tv_sec, 5);
}

TEST(Run, IsEmptyOnSilenceAfterTheGivenWaitAndNotBefore)
{
    ScriptedBroker broker(OnChannel([](Dialogue&) {}));
    const Client client(broker);

    const auto start = Clock::now();
    EXPECT_EQ(client.connection->Run(briefWait), std::nullopt);
    const auto waited = Clock::now() - start;

    EXPECT_GE(waited, briefWait);
    EXPECT_LT(waited, muchLonger);
}

TEST(Run, IsEmptyOnSilenceAfterTheConnectionsOwnWait)
{
    ScriptedBroker broker(OnChannel([](Dialogue&) {}));
    const auto connection = Connect(broker, {}, briefWait);
    const auto channel = OpenChannel(connection);

    const auto start = Clock::now();
    EXPECT_EQ(connection->Run(), std::nullopt);
    const auto waited = Clock::now() - start;

    EXPECT_GE(waited, briefWait);
    EXPECT_LT(waited, muchLonger);
}

TEST(Run, WaitsMoreThanAWholeSecondWhenTheWaitHasARest)
{
    ScriptedBroker broker(OnChannel([](Dialogue&) {}));
    const Client client(broker);

    const auto start = Clock::now();
    EXPECT_EQ(client.connection->Run(1'100'000us), std::nullopt);

    EXPECT_GE(Clock::now() - start, 1'100ms);
}

TEST(Run, WaitsWithoutLimitWhenGivenZero)
{
    ScriptedBroker broker(OnChannel(&SendAfterAWhile));
    const auto connection = Connect(broker, {}, 10ms);
    const auto channel = OpenChannel(connection);

    EXPECT_EQ(connection->Run(0us), true);
}

TEST(Run, WaitsWithoutLimitWhenTheConnectionsOwnWaitIsZero)
{
    ScriptedBroker broker(OnChannel(&SendAfterAWhile));
    const auto connection = Connect(broker, {}, 0us);
    const auto channel = OpenChannel(connection);

    EXPECT_EQ(connection->Run(), true);
}

TEST(Stop, MakesTheNextRunReturnFalseAtOnceAndTheFollowingOneWait)
{
    ScriptedBroker broker(OnChannel([](Dialogue&) {}));
    const auto connection = Connect(broker, {}, 60s);
    const auto channel = OpenChannel(connection);

    connection->Stop();
    const auto start = Clock::now();
    EXPECT_EQ(connection->Run(), false);
    EXPECT_LT(Clock::now() - start, muchLonger);

    const auto next = Clock::now();
    EXPECT_EQ(connection->Run(briefWait), std::nullopt);
    EXPECT_GE(Clock::now() - next, briefWait);
}

TEST(Stop, DoesNotTouchTheNetwork)
{
    ScriptedBroker broker(OnConsumer([](Dialogue& peer) { peer.Deliver(1, {.consumerTag = "1/1"}, {}, "waiting"); }));
    const Client client(broker);
    Inbox inbox;
    client.channel->Subscribe("q", inbox.Handler(), Amqp::None, false, false);

    client.connection->Stop();
    EXPECT_EQ(client.connection->Run(), false);
    EXPECT_TRUE(inbox.bodies.empty());
    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(inbox.bodies, testing::ElementsAre("waiting"));
}

TEST(Stop, CountsOnceHoweverOftenItIsCalled)
{
    ScriptedBroker broker(OnChannel([](Dialogue&) {}));
    const Client client(broker);

    client.connection->Stop();
    client.connection->Stop();

    EXPECT_EQ(client.connection->Run(1ms), false);
    EXPECT_EQ(client.connection->Run(1ms), std::nullopt);
}

TEST(Stop, InAHandlerLetsTheStepFinishAndEndsTheNext)
{
    ScriptedBroker broker(OnConsumer(
        [](Dialogue& peer)
        {
            peer.Deliver(1, {.consumerTag = "1/1"}, {}, "body");
            peer.Expect(1, BasicAck{});
        }));
    const Client client(broker);
    client.channel->Subscribe(
        "q",
        [&](const Amqp::Envelope&)
        {
            std::thread([&] { client.connection->Stop(); }).join();
            return Amqp::Ack;
        },
        Amqp::Explicit, false, false);

    EXPECT_EQ(client.connection->Run(), true);
    EXPECT_EQ(client.connection->Run(), false);
}

TEST(Stop, FromAnotherThreadTakesEffectAtTheNextStep)
{
    ScriptedBroker broker(OnChannel([](Dialogue&) {}));
    const Client client(broker);
    const auto deadline = Clock::now() + muchLonger;

    std::thread stopper([&] { client.connection->Stop(); });
    std::optional<bool> result;
    while (result != false && Clock::now() < deadline)
    {
        result = client.connection->Run(1ms);
    }
    stopper.join();

    EXPECT_EQ(result, false);
    EXPECT_EQ(client.connection->Run(1ms), std::nullopt);
}

TEST(Run, RefusesANegativeWaitAndDropsTheChannels)
{
    ScriptedBroker broker(OnDroppedChannel([](Dialogue&) {}));
    const Client client(broker);

    EXPECT_THAT(ErrorOf([&] { client.connection->Run(-1us); }),
                IsError(Amqp::ErrorCode::Library, -AMQP_STATUS_INVALID_PARAMETER,
                        amqp_error_string2(AMQP_STATUS_INVALID_PARAMETER)));
    EXPECT_THROW(client.connection->Run(-2s), Amqp::ErrorCode);
}
