// Both sides write more than the sockets take, and the broker reads only afterwards. While the library waits for room,
// it has to read what arrives: otherwise each side would wait for the other without end. Over TCP and over TLS.
#include <numeric>
#include <tuple>

#include "FullSocket.hpp"
#include "LargeTraffic.hpp"
#include "Listening.hpp"
#include "OverTls.hpp"
#include "Transport.hpp"

namespace
{

constexpr std::uint64_t deliveries = 24; // each of a mebibyte

template <typename Method>
Frame MethodOn(std::uint16_t channel, const Method& method)
{
    return {methodFrame, channel, Encode(method)};
}

// The parameters are the heartbeat interval, and whether the connection is over TLS.
class CrossedTraffic : public testing::TestWithParam<std::tuple<std::chrono::seconds, bool>>
{
protected:
    static std::chrono::seconds Interval() { return std::get<0>(GetParam()); }
    static bool IsOverTls() { return std::get<1>(GetParam()); }

    static BrokerOptions Options() { return {.tls = IsOverTls()}; }
    static std::shared_ptr<Amqp::Connection> Connect(const ScriptedBroker& broker)
    {
        return LogIn(broker, {.heartbeat = Interval()}, IsOverTls());
    }

    // The broker delivers all messages before it reads what the client sends meanwhile.
    ScriptedBroker::Script Crossing(bool noAck, ScriptedBroker::Script afterwards)
    {
        return [this, noAck, afterwards = std::move(afterwards)](Dialogue& peer)
        {
            peer.Login(LoginOver(IsOverTls(), {.heartbeat = static_cast<std::uint16_t>(Interval().count())}));
            peer.OpenChannel(1);
            AcceptConsumer(peer, 1, noAck);
            DeliverNumbers(peer, 1, deliveries, mebibyte);
            EXPECT_TRUE(ready.Wait());
            afterwards(peer);
            peer.CloseChannel(1);
            peer.CloseConnection();
        };
    }

    // Only the library can write into a TLS stream. So let the kernel append nothing to what the library has published,
    // and then allow the socket less than it holds.
    static void FillSocket(Amqp::Channel& channel, int socket)
    {
        if (!IsOverTls())
        {
            LeaveNoRoom(channel, socket);
            return;
        }
        Transport::endsRecords = true;
        LeaveHardlyRoom(channel, socket);
        Transport::endsRecords = false;
        ShrinkSendBuffer(socket, 1);
        EXPECT_EQ(RoomIn(socket), 0U);
    }

    static void ExpectDeliveries(CountingClient& client)
    {
        for (std::uint64_t step = 1; step <= deliveries; ++step)
        {
            ASSERT_EQ(client.connection->Run(), true) << "step " << step;
        }
        EXPECT_EQ(client.numbers, NumbersTo(deliveries));
        EXPECT_TRUE(client.noted.errors.empty());
    }

    Event ready; // until then the broker does not read, even if the sockets take all its deliveries
};

INSTANTIATE_TEST_SUITE_P(Heartbeat, CrossedTraffic, testing::Combine(testing::Values(0s, 1s), testing::Bool()),
                         [](const auto& each)
                         {
                             const std::string interval = std::get<0>(each.param) == 0s ? "Off" : "OfASecond";
                             return interval + (std::get<1>(each.param) ? "OverTls" : "OverTcp");
                         });

} // namespace

TEST_P(CrossedTraffic, LetsALargePublishThrough)
{
    const std::string body(24 * mebibyte, 'b');
    ScriptedBroker broker(Crossing(/*noAck*/ true,
                                   [&](Dialogue& peer)
                                   {
                                       const auto payloads = ReceiveBodyFrames(peer, body.size());
                                       EXPECT_TRUE(std::accumulate(payloads.begin(), payloads.end(), std::string()) ==
                                                   body);
                                   }),
                          Options());
    CountingClient client(Connect(broker));
    client.channel->Subscribe("q", client.Handler(), Amqp::Auto, false, false);
    ready.Set();

    client.channel->Publish("", "q", body, 0, {});

    EXPECT_TRUE(client.numbers.empty()) << "the handler ran inside a publish";
    ExpectDeliveries(client);
}

TEST_P(CrossedTraffic, LetsACallThroughWhenTheSocketHasNoRoom)
{
    ScriptedBroker broker(Crossing(/*noAck*/ true,
                                   [](Dialogue& peer)
                                   {
                                       EXPECT_EQ(ReadPastFiller(peer), MethodOn(1, QueueDeclare{.queue = ""}));
                                       peer.Send(1, QueueDeclareOk{.queue = "generated"});
                                   }),
                          Options());
    CountingClient client(Connect(broker));
    client.channel->Subscribe("q", client.Handler(), Amqp::Auto, false, false);
    FillSocket(*client.channel, SocketTo(broker.Port()));
    ready.Set();

    EXPECT_EQ(client.channel->DeclareQueue(false, false, false), "generated");

    EXPECT_TRUE(client.numbers.empty()) << "the handler ran inside a call";
    ExpectDeliveries(client);
}

TEST_P(CrossedTraffic, LetsAnAcknowledgementThroughWhenTheSocketHasNoRoom)
{
    ScriptedBroker broker(Crossing(/*noAck*/ false,
                                   [](Dialogue& peer)
                                   {
                                       EXPECT_EQ(ReadPastFiller(peer), MethodOn(1, BasicAck{.deliveryTag = 1}));
                                       for (std::uint64_t tag = 2; tag <= deliveries; ++tag)
                                       {
                                           peer.Expect(1, BasicAck{.deliveryTag = tag});
                                       }
                                   }),
                          Options());
    CountingClient client(Connect(broker));
    client.channel->Subscribe("q", client.Handler(), Amqp::Explicit, false, false);
    FillSocket(*client.channel, SocketTo(broker.Port()));
    ready.Set();

    ExpectDeliveries(client);
}

// A handler may publish its own reply before it returns the verdict.
TEST_P(CrossedTraffic, LetsALargePublishOfAHandlerThrough)
{
    const std::string body(24 * mebibyte, 'b');
    ScriptedBroker broker(Crossing(/*noAck*/ true, [&](Dialogue& peer) { ReceiveBodyFrames(peer, body.size()); }),
                          Options());
    CountingClient client(Connect(broker));
    client.channel->Subscribe(
        "q",
        [&](const Amqp::Envelope& envelope)
        {
            if (client.numbers.empty())
            {
                client.channel->Publish("", "q", body, 0, {});
            }
            EXPECT_TRUE(envelope.ViewBody(0, envelope.Size()) == std::string(mebibyte, 'd'));
            return client.Handler()(envelope);
        },
        Amqp::Auto, false, false);
    ready.Set();

    ExpectDeliveries(client);
}
