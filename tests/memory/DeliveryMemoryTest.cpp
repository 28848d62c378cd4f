// How much memory deliveries take: on many channels in turn, and with a large body in one frame. How much frames of an
// unknown type take.
#include "AllocationCount.hpp"
#include "wire/Messaging.hpp"

#include <iostream>

namespace
{

constexpr std::uint16_t channels = 40;
constexpr int turns = 100;
const std::string body(20'000, 'b');

void DeliverOnEach(Dialogue& peer)
{
    for (std::uint16_t channel = 1; channel <= channels; ++channel)
    {
        peer.Deliver(channel, {.consumerTag = std::to_string(channel) + "/1"}, {}, body);
    }
}

int RunTurn(const Amqp::Connection& connection)
{
    int delivered = 0;
    for (int i = 0; i < channels; ++i)
    {
        delivered += connection.Run() == true ? 1 : 0;
    }
    return delivered;
}

} // namespace

TEST(DeliveryMemory, DoesNotGrowWithDeliveriesOnManyChannels)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            for (std::uint16_t channel = 1; channel <= channels; ++channel)
            {
                peer.OpenChannel(channel);
                AcceptConsumer(peer, channel);
            }
            for (int turn = 0; turn <= turns; ++turn)
            {
                DeliverOnEach(peer);
            }
            peer.Abandon();
        });
    const auto connection = Connect(broker);
    std::vector<std::shared_ptr<Amqp::Channel>> held;
    for (int i = 0; i < channels; ++i)
    {
        held.push_back(OpenChannel(connection));
        held.back()->Subscribe("q", Ignore, Amqp::None, false, false);
    }
    ASSERT_EQ(RunTurn(*connection), channels); // makes what is made once

    CountFromZero();
    for (int turn = 0; turn < turns; ++turn)
    {
        ASSERT_EQ(RunTurn(*connection), channels);
    }
    const AllocationCount count = Allocated();

    std::cout << turns * channels << " deliveries: " << count.live << " bytes left, " << count.peak << " at a time\n";
    EXPECT_LT(count.peak, 256 * 1024);
}

TEST(UnknownFrameMemory, IsReleasedWithEachFrame)
{
    constexpr std::uint8_t unknownType = 77;
    constexpr int frames = 1000;
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            for (int frame = 0; frame < frames; ++frame)
            {
                peer.SendFrame(unknownType, 5, body);
            }
            AcceptConsumer(peer);
            peer.Abandon();
        });
    const auto connection = Connect(broker);
    const auto channel = OpenChannel(connection);

    CountFromZero();
    channel->Subscribe("q", Ignore, Amqp::None, false, false);
    const AllocationCount count = Allocated();

    EXPECT_LT(count.live, 512 * 1024) << "of " << frames * body.size() << " bytes";
}

// rabbitmq-c collects each frame in memory that it uses again. The library shows the body there. The library would have
// to allocate a copy of such a large body anew for each delivery.
TEST(DeliveryMemory, HasNoCopyOfABodyInOneFrame)
{
    constexpr int frameMax = 4 << 20;
    constexpr std::size_t size = std::size_t{2} << 20;
    constexpr int deliveries = 8;
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login({.frameMax = frameMax});
            peer.OpenChannel(1);
            AcceptConsumer(peer, 1, /*noAck*/ true);
            for (int i = 0; i <= deliveries; ++i)
            {
                peer.Deliver(1, {.consumerTag = "1/1"}, {}, std::string(size, 'b'));
            }
            peer.CloseChannel(1);
            peer.CloseConnection();
        });
    const Client client(broker, frameMax);
    std::uint64_t received = 0;
    client.channel->Subscribe(
        "q",
        [&](const Amqp::Envelope& envelope)
        {
            received += envelope.Size();
            return Amqp::Ack;
        },
        Amqp::Auto, false, false);
    ASSERT_EQ(client.connection->Run(), true); // allocates what is allocated once

    CountFromZero();
    for (int i = 0; i < deliveries; ++i)
    {
        ASSERT_EQ(client.connection->Run(), true);
    }
    const AllocationCount count = Allocated();

    std::cout << deliveries << " deliveries of " << size << " bytes: " << count.total << " bytes allocated in all\n";
    EXPECT_EQ(received, (deliveries + 1) * size);
    EXPECT_LT(count.total, size);
}
