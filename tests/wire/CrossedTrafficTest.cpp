// Both sides write more than the sockets take, and the broker reads only afterwards. While the library waits for room,
// it has to read what arrives: otherwise each side would wait for the other without end.
#include <numeric>

#include "FullSocket.hpp"
#include "LargeTraffic.hpp"
#include "Listening.hpp"

namespace
{

constexpr std::uint64_t deliveries = 24; // each of a mebibyte

template <typename Method>
Frame MethodOn(std::uint16_t channel, const Method& method)
{
    return {methodFrame, channel, Encode(method)};
}

// The parameter is the heartbeat interval.
class CrossedTraffic : public testing::TestWithParam<std::chrono::seconds>
{
protected:
    // The broker delivers all messages before it reads what the client sends meanwhile.
    ScriptedBroker::Script Crossing(bool noAck, ScriptedBroker::Script afterwards)
    {
        return [this, noAck, afterwards = std::move(afterwards)](Dialogue& peer)
        {
            peer.Login({.heartbeat = static_cast<std::uint16_t>(GetParam().count())});
            peer.OpenChannel(1);
            AcceptConsumer(peer, 1, noAck);
            DeliverNumbers(peer, 1, deliveries, mebibyte);
            EXPECT_TRUE(ready.Wait());
            afterwards(peer);
            peer.CloseChannel(1);
            peer.CloseConnection();
        };
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

INSTANTIATE_TEST_SUITE_P(Heartbeat, CrossedTraffic, testing::Values(0s, 1s),
                         [](const auto& each) { return each.param == 0s ? "Off" : "OfASecond"; });

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
                                   }));
    CountingClient client(broker, GetParam());
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
                                   }));
    CountingClient client(broker, GetParam());
    client.channel->Subscribe("q", client.Handler(), Amqp::Auto, false, false);
    LeaveNoRoom(*client.channel, SocketTo(broker.Port()));
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
                                   }));
    CountingClient client(broker, GetParam());
    client.channel->Subscribe("q", client.Handler(), Amqp::Explicit, false, false);
    LeaveNoRoom(*client.channel, SocketTo(broker.Port()));
    ready.Set();

    ExpectDeliveries(client);
}

// A handler may publish its own reply before it returns the verdict.
TEST_P(CrossedTraffic, LetsALargePublishOfAHandlerThrough)
{
    const std::string body(24 * mebibyte, 'b');
    ScriptedBroker broker(Crossing(/*noAck*/ true, [&](Dialogue& peer) { ReceiveBodyFrames(peer, body.size()); }));
    CountingClient client(broker, GetParam());
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
