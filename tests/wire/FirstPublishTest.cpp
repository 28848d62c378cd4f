// With heartbeats, an application publishes a large message after a long pause, on a socket that has hardly room for a
// frame. Each body frame has the size that the login settled. Over TCP and over TLS.
#include <thread>

#include "ClientSocket.hpp"
#include "LargeTraffic.hpp"
#include "OverTls.hpp"

namespace
{

constexpr auto idle = 2200ms; // more than two intervals

class FirstPublish : public testing::TestWithParam<bool>
{
};

INSTANTIATE_TEST_SUITE_P(Way, FirstPublish, testing::Bool(),
                         [](const auto& each) { return each.param ? "OverTls" : "OverTcp"; });

} // namespace

TEST_P(FirstPublish, FillsEachFrameWhenRoomIsShort)
{
    const std::string body(4 * mebibyte, 'b');
    std::vector<std::size_t> sizes;
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login(LoginOver(GetParam(), {.heartbeat = 1}));
            peer.OpenChannel(1);
            SendHeartbeatsFor(peer, idle);
            for (const std::string& payload : ReceiveBodyFrames(peer, body.size()))
            {
                sizes.push_back(payload.size());
            }
            peer.CloseChannel(1);
            peer.CloseConnection();
        },
        {.tls = GetParam()});
    {
        const auto channel = OpenChannel(LogIn(broker, {.heartbeat = 1s}, GetParam()));
        ShrinkSendBuffer(SocketTo(broker.Port()), 130'000);
        std::this_thread::sleep_for(idle);
        channel->Publish("", "q", body, 0, {});
    }
    broker.Finish();

    constexpr std::size_t full = 131072 - frameOverhead;
    std::vector<std::size_t> expected(body.size() / full, full);
    expected.push_back(body.size() % full);
    EXPECT_TRUE(sizes == expected) << sizes.size() << " frames, the first of " << (sizes.empty() ? 0 : sizes.front());
}
