// A peer pauses in the middle of a message. The wait ends in time, and a later step delivers the whole message to the
// handler.
#include "Messaging.hpp"

namespace
{

using Clock = std::chrono::steady_clock;

constexpr auto briefPause = 50ms;
constexpr auto peersPatience = 3s;
constexpr std::uint32_t smallFrames = 4096;

// A body of two full frames and a short frame.
const std::string pausedBody = std::string(smallFrames - 8, 'a') + std::string(smallFrames - 8, 'b') + "rest";

std::vector<Frame> FramesOfTheMessage()
{
    std::vector<Frame> frames = ContentFrames(1, PlainProperties("1"), pausedBody, smallFrames);
    frames.insert(frames.begin(), {.channel = 1, .payload = Encode(BasicDeliver{.consumerTag = "1/1"})});
    return frames;
}

// Where the peer pauses: after so many whole frames, and so many bytes of the next frame.
struct Pause
{
    const char* name;
    std::size_t frames;
    std::size_t octets;
};

void PrintTo(const Pause& pause, std::ostream* out)
{
    *out << pause.name;
}

std::pair<std::string, std::string> SplitAt(const Pause& pause)
{
    const std::vector<Frame> frames = FramesOfTheMessage();
    const auto whole = frames.begin() + static_cast<std::ptrdiff_t>(pause.frames);
    const std::size_t at = FrameBytes(std::vector<Frame>(frames.begin(), whole)).size() + pause.octets;
    const std::string bytes = FrameBytes(frames);
    return {bytes.substr(0, at), bytes.substr(at)};
}

void ExpectWaited(Dialogue& peer)
{
    peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties(), "waited");
}

// Runs a step that has to end without an event when its wait ends, and then notifies the peer.
void WaitInVain(const Client& client)
{
    const auto begun = Clock::now();
    EXPECT_EQ(client.connection->Run(briefPause), std::nullopt);
    const auto waited = Clock::now() - begun;

    EXPECT_GE(waited, briefPause - 1ms); // a wait may be rounded
    EXPECT_LT(waited, 1s);
    client.channel->Publish("", "q", "waited", 0, {});
}

class PausedMessage : public testing::TestWithParam<Pause>
{
};

} // namespace

TEST_P(PausedMessage, EndsTheWaitAndIsHandedOverWholeByALaterStep)
{
    const auto split = SplitAt(GetParam());
    ScriptedBroker broker(OnConsumer(
        [&, beginning = split.first, rest = split.second](Dialogue& peer)
        {
            peer.SendBytes(beginning);
            ExpectWaited(peer);
            ExpectWaited(peer);
            peer.SendBytes(rest);
            peer.Expect(1, BasicAck{});
        }));
    broker.Deadline(peersPatience);
    const Client client(broker, smallFrames);
    Inbox inbox;
    client.channel->Subscribe("q", inbox.Handler(), Amqp::Explicit, false, false);

    WaitInVain(client);
    WaitInVain(client);
    EXPECT_EQ(client.connection->Run(), true);

    ASSERT_EQ(inbox.bodies.size(), 1U);
    EXPECT_TRUE(inbox.bodies.front() == pausedBody);
    EXPECT_EQ(inbox.envelopes.front().MessageId(), "1");
    EXPECT_TRUE(client.noted.errors.empty());
}

INSTANTIATE_TEST_SUITE_P(Behind, PausedMessage,
                         testing::Values(Pause{"HalfItsMethod", 0, 10}, Pause{"ItsMethod", 1, 0},
                                         Pause{"HalfItsHeader", 1, 10}, Pause{"ItsHeader", 2, 0},
                                         Pause{"HalfABodyFrame", 2, 2000}, Pause{"ABodyFrame", 3, 0},
                                         Pause{"HalfTheSecondBodyFrame", 3, 2000}, Pause{"TheSecondBodyFrame", 4, 0},
                                         Pause{"AllButItsLastOctet", 4, 11}),
                         [](const auto& instance) { return instance.param.name; });

TEST(PausedReturn, EndsTheWaitAndReachesItsCallbackInALaterStep)
{
    ScriptedBroker broker(OnChannel(
        [](Dialogue& peer)
        {
            peer.ExpectPublish(1, {.routingKey = "q", .mandatory = true}, PlainProperties("1"), "body");
            peer.Send(1, BasicReturn{.routingKey = "q"});
            peer.SendFrame(headerFrame, 1, EncodeHeader({.bodySize = 4, .properties = PlainProperties("1")}));
            ExpectWaited(peer);
            peer.SendFrame(bodyFrame, 1, "body");
        }));
    broker.Deadline(peersPatience);
    const Client client(broker);
    Outbox outbox;
    client.channel->Publish("", "q", "body", 0, outbox.Callback());

    WaitInVain(client);
    EXPECT_TRUE(outbox.returned.empty());
    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(outbox.returned, testing::ElementsAre(Outbox::Returned{"body", "", "q", 312}));
}

TEST(PausedDelivery, LetsDeliveriesOfOtherChannelsPass)
{
    ScriptedBroker broker(OnTwoChannels(
        [](Dialogue& peer)
        {
            AcceptConsumer(peer, 1, /*noAck*/ true);
            AcceptConsumer(peer, 2, /*noAck*/ true);
            peer.Send(1, BasicDeliver{.consumerTag = "1/1"});
            peer.SendFrame(headerFrame, 1, EncodeHeader({.bodySize = 4, .properties = {}}));
            peer.Deliver(2, {.consumerTag = "2/1"}, {}, "passes");
            ExpectWaited(peer);
            peer.SendFrame(bodyFrame, 1, "late");
        }));
    broker.Deadline(peersPatience);
    const Client client(broker);
    const auto other = OpenChannel(client.connection);
    Inbox inbox;
    client.channel->Subscribe("q", inbox.Handler(), Amqp::Auto, false, false);
    other->Subscribe("q", inbox.Handler(), Amqp::Auto, false, false);

    EXPECT_EQ(client.connection->Run(), true);
    EXPECT_THAT(inbox.bodies, testing::ElementsAre("passes"));
    WaitInVain(client);
    EXPECT_EQ(client.connection->Run(), true);

    EXPECT_THAT(inbox.bodies, testing::ElementsAre("passes", "late"));
}
