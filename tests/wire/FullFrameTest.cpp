// Bodies that fill their last frame to the end. The library must then not announce more bytes to the kernel, as
// rabbitmq-c does. The kernel would hold the tail back for a fifth of a second.
#include <algorithm>
#include <array>
#include <future>

#include "Messaging.hpp"
#include "OverTls.hpp"

namespace
{

using Clock = std::chrono::steady_clock;

constexpr int frameMax = 4096;
constexpr std::size_t longHeader = 4040; // fits a frame, but with the method does not fit the place of most heads
constexpr int rounds = 5;

enum class FullFrameWay
{
    ShortHeaders,
    LongHeaders,
    OverTls
};

// Returns the fastest time from a publish until the broker has the whole message; meanwhile nothing else uses the
// library. If the kernel holds the tail back, no round is fast. On a busy machine some rounds may be slow for other
// reasons.
Clock::duration FastestRound(std::size_t bodySize, FullFrameWay way)
{
    const bool tls = way == FullFrameWay::OverTls;
    const std::string body(bodySize, 'b');
    std::array<std::promise<Clock::time_point>, rounds> received;
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login(LoginOver(tls, {.frameMax = frameMax}));
            peer.OpenChannel(1);
            for (auto& whole : received)
            {
                peer.Expect(1, BasicPublish{.routingKey = "q"});
                EXPECT_EQ(peer.ReadFrame().type, headerFrame);
                for (std::size_t size = 0; size < bodySize;)
                {
                    size += peer.ReadFrame().payload.size();
                }
                whole.set_value(Clock::now());
            }
            peer.CloseChannel(1);
            peer.CloseConnection();
        },
        {.tls = tls});
    const auto channel = OpenChannel(LogIn(broker, {.frameMax = frameMax}, tls));

    Amqp::Envelope message(body, Amqp::MetaData::Persistent);
    if (way == FullFrameWay::LongHeaders)
    {
        message.Headers().Insert("long", std::string(longHeader, 'h'));
    }
    auto fastest = Clock::duration::max();
    for (auto& whole : received)
    {
        const auto start = Clock::now();
        channel->Publish("", "q", message, 0, {});
        auto end = whole.get_future();
        if (end.wait_for(5s) != std::future_status::ready)
        {
            ADD_FAILURE() << "the message has not arrived";
            break;
        }
        fastest = std::min(fastest, end.get() - start);
    }
    return fastest;
}

} // namespace

TEST(FullFrame, IsNotHeldBack)
{
    for (const FullFrameWay way : {FullFrameWay::ShortHeaders, FullFrameWay::LongHeaders, FullFrameWay::OverTls})
    {
        EXPECT_LT(FastestRound(frameMax - 8, way), 100ms);
    }
}

TEST(FullFrame, IsNotHeldBackAfterOthers)
{
    for (const FullFrameWay way : {FullFrameWay::ShortHeaders, FullFrameWay::LongHeaders, FullFrameWay::OverTls})
    {
        EXPECT_LT(FastestRound(std::size_t{3} * (frameMax - 8), way), 100ms);
    }
}
