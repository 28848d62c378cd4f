// A peer falls silent, with a heartbeat interval of a second: writing to it ends after two intervals. If a peer reads
// nothing but sends signs of life, the library waits for it. Over TCP and over TLS.
#include <thread>

#include "Listening.hpp"
#include "Messaging.hpp"
#include "OverTls.hpp"
#include "values/RabbitMq.hpp"

namespace
{

using Amqp::ErrorCode;
using Clock = std::chrono::steady_clock;

constexpr auto twoIntervals = 2s;
constexpr auto later = twoIntervals + 100ms;

auto IsSilence()
{
    return IsError(ErrorCode::Library, -AMQP_STATUS_HEARTBEAT_TIMEOUT,
                   amqp_error_string2(AMQP_STATUS_HEARTBEAT_TIMEOUT));
}

auto IsSilenceInACall()
{
    return IsError(ErrorCode::Library, 1, amqp_error_string2(AMQP_STATUS_HEARTBEAT_TIMEOUT));
}

// More than the buffers of both sockets take.
std::string LargeBody()
{
    return std::string(16 << 20, 'b');
}

ScriptedBroker WithHeartbeats(bool tls, ScriptedBroker::Script rest)
{
    return ScriptedBroker(
        [tls, rest = std::move(rest)](Dialogue& peer)
        {
            peer.Login(LoginOver(tls, {.heartbeat = 1}));
            peer.OpenChannel(1);
            rest(peer);
        },
        {.tls = tls});
}

struct HeartbeatClient
{
    HeartbeatClient(const ScriptedBroker& broker, bool tls)
        : connection(LogIn(broker, {.heartbeat = 1s}, tls)),
          channel(std::make_shared<Amqp::Channel>(connection, noted.Notifier()))
    {
    }

    Noted noted;
    std::shared_ptr<Amqp::Connection> connection;
    std::shared_ptr<Amqp::Channel> channel;
};

class SilentPeer : public testing::TestWithParam<bool>
{
};
class BusyPeer : public SilentPeer
{
};

const auto overBoth = testing::Bool();
const auto nameOfWay = [](const auto& info) { return info.param ? "OverTls" : "OverTcp"; };
INSTANTIATE_TEST_SUITE_P(Way, SilentPeer, overBoth, nameOfWay);
INSTANTIATE_TEST_SUITE_P(Way, BusyPeer, overBoth, nameOfWay);

} // namespace

TEST_P(SilentPeer, IsFoundOutByAPublishAndNothingIsWritten)
{
    ScriptedBroker broker(WithHeartbeats(GetParam(), [](Dialogue& peer) { peer.ExpectEnd(); }));
    const HeartbeatClient client(broker, GetParam());
    std::this_thread::sleep_for(later);

    client.channel->Publish("", "q", "body", 0, {});

    EXPECT_THAT(client.noted.errors, testing::ElementsAre(IsSilence()));
}

TEST_P(SilentPeer, IsFoundOutByACallAndThenByEveryUse)
{
    ScriptedBroker broker(WithHeartbeats(GetParam(), [](Dialogue& peer) { peer.ExpectEnd(); }));
    const HeartbeatClient client(broker, GetParam());
    std::this_thread::sleep_for(later);

    EXPECT_THAT(ErrorOf([&] { client.channel->PurgeQueue("q"); }), IsSilenceInACall());

    EXPECT_THAT(ErrorOf([&] { client.connection->Run(); }), IsSilence());
    EXPECT_THAT(ErrorOf([&] { OpenChannel(client.connection); }), IsSilenceInACall());
    EXPECT_TRUE(client.noted.errors.empty());
}

TEST_P(SilentPeer, EndsAWaitWithNothingAndThenEveryUse)
{
    ScriptedBroker broker(WithHeartbeats(GetParam(), [](Dialogue& peer) { peer.ExpectEnd(); }));
    const HeartbeatClient client(broker, GetParam());
    const auto start = Clock::now();

    EXPECT_EQ(client.connection->Run(60s), std::nullopt);

    EXPECT_LT(Clock::now() - start, 2 * twoIntervals);
    EXPECT_THAT(ErrorOf([&] { client.connection->Run(); }), IsSilence());
    EXPECT_THAT(ErrorOf([&] { client.channel->PurgeQueue("q"); }), IsSilenceInACall());
    client.channel->Publish("", "q", "body", 0, {});
    EXPECT_THAT(client.noted.errors, testing::ElementsAre(IsSilence()));
}

TEST_P(SilentPeer, IsNotWaitedForByTeardown)
{
    ScriptedBroker broker(WithHeartbeats(GetParam(), [](Dialogue& peer) { peer.ExpectEnd(); }));
    auto client = std::make_unique<HeartbeatClient>(broker, GetParam());
    std::this_thread::sleep_for(later);
    const auto start = Clock::now();

    client.reset();

    EXPECT_LT(Clock::now() - start, 1s);
}

TEST_P(SilentPeer, IsFoundOutByALargePublishThatFillsTheSocket)
{
    ScriptedBroker broker(WithHeartbeats(GetParam(),
                                         [](Dialogue& peer)
                                         {
                                             std::this_thread::sleep_for(2 * later); // reads nothing, sends nothing
                                             peer.Abandon();
                                         }));
    const HeartbeatClient client(broker, GetParam());
    const std::string body = LargeBody();

    client.channel->Publish("", "q", body, 0, {});
    EXPECT_THAT(client.noted.errors, testing::ElementsAre(IsSilence()));

    EXPECT_THAT(ErrorOf([&] { client.connection->Run(); }), IsSilence());
}

TEST_P(SilentPeer, IsFoundOutByManySmallPublishesThatFillTheSocket)
{
    ScriptedBroker broker(WithHeartbeats(GetParam(),
                                         [](Dialogue& peer)
                                         {
                                             std::this_thread::sleep_for(2 * later);
                                             peer.Abandon();
                                         }));
    const HeartbeatClient client(broker, GetParam());
    const auto start = Clock::now();

    while (client.noted.errors.empty() && Clock::now() - start < 10s)
    {
        client.channel->Publish("", "q", "body", 0, {});
    }

    EXPECT_THAT(client.noted.errors, testing::ElementsAre(IsSilence()));
}

// Two intervals after what came last, not after what was written or read last.
TEST_P(SilentPeer, IsFoundOutInTimeByPublishesThatItTakes)
{
    Event given;
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login(LoginOver(GetParam(), {.heartbeat = 2}));
            peer.OpenChannel(1);
            std::this_thread::sleep_for(500ms);
            peer.SendHeartbeat();
            EXPECT_TRUE(given.Wait());
            peer.Abandon();
        },
        {.tls = GetParam()});
    const auto connection = LogIn(broker, {.heartbeat = 2s}, GetParam());
    Noted noted;
    const auto channel = std::make_shared<Amqp::Channel>(connection, noted.Notifier());
    const auto start = Clock::now();

    for (; noted.errors.empty() && Clock::now() - start < 10s; std::this_thread::sleep_for(20ms))
    {
        channel->Publish("", "q", "body", 0, {});
    }
    given.Set();

    EXPECT_THAT(noted.errors, testing::ElementsAre(IsSilence()));
    EXPECT_GT(Clock::now() - start, 3s);
    EXPECT_LT(Clock::now() - start, 6500ms);
}

TEST_P(BusyPeer, ThatReadsNothingButSendsHeartbeatsIsWaitedFor)
{
    const std::string body = LargeBody();
    ScriptedBroker broker(WithHeartbeats(GetParam(),
                                         [&](Dialogue& peer)
                                         {
                                             SendHeartbeatsFor(peer, 2 * twoIntervals);
                                             peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties(), body);
                                             peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties(), "small");
                                             peer.CloseChannel(1);
                                             peer.CloseConnection();
                                         }));
    broker.Deadline(20s);
    const HeartbeatClient client(broker, GetParam());

    client.channel->Publish("", "q", body, 0, {});
    client.channel->Publish("", "q", "small", 0, {});

    EXPECT_TRUE(client.noted.errors.empty());
}

// What has come waits in the socket: the client has not looked for longer than the peer may be silent.
TEST_P(BusyPeer, WhoseHeartbeatsWereNotReadYetIsAlive)
{
    ScriptedBroker broker(WithHeartbeats(GetParam(),
                                         [](Dialogue& peer)
                                         {
                                             SendHeartbeatsFor(peer, later);
                                             peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties(), "body");
                                             peer.Expect(1, QueuePurge{.queue = "q"});
                                             peer.Send(1, QueuePurgeOk{});
                                             peer.CloseChannel(1);
                                             peer.CloseConnection();
                                         }));
    const HeartbeatClient client(broker, GetParam());
    std::this_thread::sleep_for(later);

    client.channel->Publish("", "q", "body", 0, {});
    client.channel->PurgeQueue("q");

    EXPECT_TRUE(client.noted.errors.empty());
}

// What it sends cannot arrive: nobody has read what came before.
TEST_P(BusyPeer, ThatHasNoRoomToSendIsAlive)
{
    constexpr int many = 32;
    const std::string body(1 << 20, 'd');
    ScriptedBroker broker(WithHeartbeats(GetParam(),
                                         [&](Dialogue& peer)
                                         {
                                             AcceptConsumer(peer);
                                             for (std::uint64_t tag = 1; tag <= many; ++tag)
                                             {
                                                 peer.Deliver(1, {.consumerTag = "1/1", .deliveryTag = tag}, {}, body);
                                             }
                                             peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties(), "body");
                                             peer.Abandon();
                                         }));
    broker.Deadline(20s);
    const HeartbeatClient client(broker, GetParam());
    client.channel->Subscribe("q", Ignore, Amqp::None, false, false);
    std::this_thread::sleep_for(later + 400ms);

    client.channel->Publish("", "q", "body", 0, {});

    EXPECT_TRUE(client.noted.errors.empty());
    for (int i = 0; i < many; ++i)
    {
        EXPECT_EQ(client.connection->Run(), true);
    }
}

// The socket takes such a frame bit by bit, and the library reads the peer's heartbeats in between.
TEST_P(BusyPeer, ThatReadsNothingIsWaitedForWithAFrameLargerThanTheSocket)
{
    constexpr int frameMax = 32 << 20;
    const std::string body(GetParam() ? 12 << 20 : 24 << 20, 'b'); // TLS is slow under sanitizers
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login(LoginOver(GetParam(), {.frameMax = frameMax, .heartbeat = 1}));
            peer.OpenChannel(1);
            SendHeartbeatsFor(peer, later + 400ms);
            std::string received;
            while (received.size() < body.size())
            {
                const Frame frame = peer.ReadFrame();
                received += frame.type == bodyFrame ? frame.payload : "";
                if (frame.type == bodyFrame && received.size() % (1 << 20) < frame.payload.size())
                {
                    peer.SendHeartbeat(); // reading all of it may take long, too
                }
            }
            EXPECT_TRUE(received == body);
            peer.Abandon();
        },
        {.tls = GetParam()});
    broker.Deadline(20s);
    const auto connection = LogIn(broker, {.heartbeat = 1s, .frameMax = frameMax}, GetParam());
    Noted noted;
    const auto channel = std::make_shared<Amqp::Channel>(connection, noted.Notifier());

    channel->Publish("", "q", body, 0, {});

    EXPECT_TRUE(noted.errors.empty());
}
