// Heartbeats with a broker that counts them: they are sent from inside the loop.
#include "Broker.hpp"

#include <thread>

using testing::StartsWith;

using BrokerHeartbeat = Broker;

namespace
{

constexpr auto idle = 4s; // RabbitMQ gives up after two to three intervals of silence

void RunFor(const Amqp::Connection& connection, std::chrono::seconds duration)
{
    const auto end = std::chrono::steady_clock::now() + duration;
    while (std::chrono::steady_clock::now() < end)
    {
        EXPECT_EQ(connection.Run(), std::nullopt);
    }
}

} // namespace

TEST_F(BrokerHeartbeat, KeepsAnIdleConnectionAliveAsLongAsTheLoopRuns)
{
    const auto shortWaits = Connect({.wait = 100ms, .heartbeat = 1s});
    const auto longWait = Connect({.wait = idle, .heartbeat = 1s});
    const auto notRun = Connect({.heartbeat = 1s});
    const auto channel = OpenChannel(shortWaits);
    const auto longChannel = OpenChannel(longWait);
    const auto lostChannel = OpenChannel(notRun);

    std::thread other([&] { EXPECT_EQ(longWait->Run(), std::nullopt); });
    RunFor(*shortWaits, idle);
    other.join();

    EXPECT_THAT(channel->DeclareQueue(false, true, true), StartsWith("amq.gen-"));
    EXPECT_THAT(longChannel->DeclareQueue(false, true, true), StartsWith("amq.gen-"));
    EXPECT_TRUE(ErrorOf([&] { lostChannel->DeclareQueue(false, true, true); }));
}
