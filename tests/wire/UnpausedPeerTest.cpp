// A peer that sends all the time and completes nothing. A step ends when its wait is over all the same, and a later
// step handles the message.
#include <atomic>
#include <ctime>

#include "Messaging.hpp"

namespace
{

using TrickleClock = std::chrono::steady_clock;

constexpr int floodedSteps = 20;
constexpr auto floodedWait = 1ms;
constexpr std::size_t floodFrames = 4096;
constexpr std::size_t mostFloods = 2048; // for a client whose waits do not end; it reads them for much longer
constexpr std::size_t floodedBody = mostFloods * floodFrames + 1;

// Frames that take the client much longer to read than the peer to send.
struct Flood
{
    const char* name;
    Frame frame;
    std::size_t bodyBytes; // in each
};

void PrintTo(const Flood& flood, std::ostream* out)
{
    *out << flood.name;
}

class UnpausedPeer : public testing::TestWithParam<Flood>
{
};

INSTANTIATE_TEST_SUITE_P(Sending, UnpausedPeer,
                         testing::Values(Flood{"BodyFramesOfAByte", {bodyFrame, 1, "b"}, 1},
                                         Flood{"FramesOfAnUnknownType", {77, 1, ""}, 0}),
                         [](const auto& each) { return each.param.name; });

// Floods the client until it has waited, then sends the rest of the body.
void DeliverAfterFlood(Dialogue& peer, const Flood& flood, const std::atomic<bool>& waited)
{
    const std::string frames = FrameBytes(std::vector<Frame>(floodFrames, flood.frame));
    peer.Send(1, BasicDeliver{.consumerTag = "1/1"});
    peer.SendFrame(headerFrame, 1, EncodeHeader({.bodySize = floodedBody}));
    std::size_t left = floodedBody;
    for (std::size_t count = 0; count < mostFloods && !waited; ++count)
    {
        peer.SendBytes(frames);
        left -= flood.bodyBytes * floodFrames;
    }
    std::vector<Frame> rest = ContentFrames(1, {}, std::string(left, 'b'));
    rest.erase(rest.begin()); // the header
    peer.SendBytes(FrameBytes(rest));
}

// How long this thread has worked: unlike the time on the clock, this does not grow while others have the processor.
std::chrono::nanoseconds TimeOfThisThread()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

} // namespace

TEST_P(UnpausedPeer, LetsStepsEndWhenTheirWaitsAreOver)
{
    std::atomic<bool> waited = false;
    ScriptedBroker broker(OnChannel(
        [&](Dialogue& peer)
        {
            AcceptConsumer(peer, 1, /*noAck*/ true);
            DeliverAfterFlood(peer, GetParam(), waited);
        }));
    broker.Deadline(20s); // a sanitizer takes long over what the sockets hold in the end
    const Client client(broker);
    Inbox inbox;
    client.channel->Subscribe("q", inbox.Handler(), Amqp::Auto, false, false);

    const auto begun = TimeOfThisThread();
    for (int step = 1; step <= floodedSteps && inbox.bodies.empty(); ++step)
    {
        EXPECT_EQ(client.connection->Run(floodedWait), std::nullopt) << "step " << step;
    }
    EXPECT_LT(TimeOfThisThread() - begun, 3 * floodedSteps * floodedWait);
    waited = true;

    EXPECT_EQ(client.connection->Run(), true);
    ASSERT_EQ(inbox.bodies.size(), 1U);
    EXPECT_TRUE(inbox.bodies.front() == std::string(floodedBody, 'b'));
}

TEST(TricklingPeer, LetsStepsEndWhenTheirWaitsAreOver)
{
    const std::string body(1024, 'b');
    std::atomic<bool> waited = false;
    ScriptedBroker broker(OnChannel(
        [&](Dialogue& peer)
        {
            AcceptConsumer(peer, 1, /*noAck*/ true);
            const std::string bytes = DeliveryBytes(1, {.consumerTag = "1/1"}, {}, body);
            std::size_t sent = 0;
            for (; sent < body.size() && !waited; std::this_thread::sleep_for(2ms))
            {
                peer.SendBytes(bytes.substr(sent++, 1));
            }
            peer.SendBytes(bytes.substr(sent));
        }));
    const Client client(broker);
    Inbox inbox;
    client.channel->Subscribe("q", inbox.Handler(), Amqp::Auto, false, false);

    const auto begun = TrickleClock::now();
    EXPECT_EQ(client.connection->Run(100ms), std::nullopt);
    EXPECT_EQ(client.connection->Run(100ms), std::nullopt);
    EXPECT_LT(TrickleClock::now() - begun, 1s);
    waited = true;

    EXPECT_EQ(client.connection->Run(), true);
    EXPECT_THAT(inbox.bodies, testing::ElementsAre(body));
}
