// A batch changes nothing but when octets leave: not what is sent, nor in which order, nor the errors.
#include <optional>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <vector>

#include "Batches.hpp"
#include "LoginOptions.hpp"

namespace
{

static_assert(!std::is_copy_constructible_v<Amqp::Batch> && !std::is_copy_assignable_v<Amqp::Batch>);
static_assert(!std::is_move_constructible_v<Amqp::Batch> && !std::is_move_assignable_v<Amqp::Batch>);

using Clock = std::chrono::steady_clock;

constexpr int smallFrame = 4096;

void ReadInto(Dialogue& peer, std::vector<Frame>& frames)
{
    const auto isClose = [](const Frame& frame)
    { return frame.type == methodFrame && frame.payload == Encode(QueuePurge{.queue = "end"}); };
    do
    {
        frames.push_back(peer.ReadFrame());
    } while (!isClose(frames.back()));
    peer.Send(1, QueuePurgeOk{});
}

// One of each kind, on two channels.
void PublishAllKinds(Amqp::Channel& one, Amqp::Channel& two)
{
    Amqp::Envelope full("every property", Amqp::MetaData::Persistent);
    SetTwelve(full);
    full.Headers().Insert("key", "value");

    one.Publish("", "q", "text", 0, {});
    two.Publish("ex", "key", full, 0, {});
    one.Publish("", "q", "", 0, {});
    one.Publish("", "q", std::string(smallFrame - 8, 'f'), 0, {});
    two.Publish("", "q", std::string(100'000, 'l'), 0, {});
    one.Publish("", "q", "in parts", 3, {});
    two.Publish("", "q", "with a callback", 0, Unexpected());
    for (int i = 0; i < 300; ++i)
    {
        (i % 2 == 0 ? one : two).Publish("", "q", std::to_string(i), 0, {});
    }
}

std::vector<Frame> FramesOfAllKinds(bool inABatch)
{
    std::vector<Frame> frames;
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login({.frameMax = smallFrame});
            peer.OpenChannel(1);
            peer.OpenChannel(2);
            ReadInto(peer, frames);
            peer.CloseChannel(2);
            peer.CloseChannel(1);
            peer.CloseConnection();
        });
    {
        Client client(broker, smallFrame);
        const auto other = client.NewChannel();
        std::optional<Amqp::Batch> batch;
        if (inABatch)
        {
            batch.emplace(*client.channel);
        }
        PublishAllKinds(*client.channel, *other);
        client.channel->PurgeQueue("end");
        EXPECT_TRUE(client.noted.errors.empty());
    }
    broker.Finish();
    return frames;
}

} // namespace

TEST(Batch, ChangesNoFrame)
{
    const std::vector<Frame> without = FramesOfAllKinds(false);

    EXPECT_EQ(FramesOfAllKinds(true), without);
    EXPECT_GT(without.size(), 300U * 3);
}

TEST(Batch, GathersOnAConnectionThatIsUsable)
{
    ScriptedBroker broker(OnChannel([](Dialogue&) {}));
    const Client client(broker);

    EXPECT_TRUE(Amqp::Batch(*client.channel).Gathers());
    EXPECT_TRUE(Amqp::Batch(*client.channel).Gathers());
}

TEST(Batch, KeepsTheConnection)
{
    ScriptedBroker broker(OnChannel(
        [](Dialogue& peer) { peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties(), "before the goodbye"); }));
    auto client = std::make_unique<Client>(broker);
    const std::weak_ptr<Amqp::Connection> connection = client->connection;

    {
        const Amqp::Batch batch(*client->channel);
        client->channel->Publish("", "q", "before the goodbye", 0, {});
        client.reset();
        EXPECT_FALSE(connection.expired());
    }

    EXPECT_TRUE(connection.expired());
}

TEST(Batch, OfAChannelThatWasMovedFromThrows)
{
    ScriptedBroker broker(OnChannel([](Dialogue&) {}));
    const Client client(broker);
    Amqp::Channel moved(std::move(*client.channel));

    EXPECT_THAT([&] { Amqp::Batch(*client.channel); },
                testing::ThrowsMessage<std::runtime_error>("Unable to use a channel that was moved from"));
}

TEST(Batch, AroundRunSendsWhatAHandlerPublishesBeforeItsVerdict)
{
    ScriptedBroker broker(OnConsumer(
        [](Dialogue& peer)
        {
            for (std::uint64_t tag = 1; tag <= 3; ++tag)
            {
                peer.Deliver(1, {.consumerTag = "1/1", .deliveryTag = tag}, {}, std::to_string(tag));
                peer.ExpectPublish(1, {.routingKey = "replies"}, PlainProperties(), std::to_string(tag));
                peer.Expect(1, BasicAck{.deliveryTag = tag});
            }
        }));
    const Client client(broker);
    client.channel->Subscribe(
        "q",
        [&](const Amqp::Envelope& envelope)
        {
            client.channel->Publish("", "replies", envelope.ViewBody(0, envelope.Size()), 0, {});
            return Amqp::Ack;
        },
        Amqp::Explicit, false, false);

    const Amqp::Batch batch(*client.channel);
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_EQ(client.connection->Run(), true);
    }

    EXPECT_TRUE(client.noted.errors.empty());
}

TEST(Batch, LosesNothingWithHeartbeatsAndAPeerThatReadsNothingForAWhile)
{
    constexpr int many = 1000;
    const std::string body(16 << 20, 'b'); // more than the buffers of both sockets take
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login({.heartbeat = 4}); // reading a body may take long
            peer.OpenChannel(1);
            for (const auto end = Clock::now() + 1s; Clock::now() < end; std::this_thread::sleep_for(200ms))
            {
                peer.SendHeartbeat();
            }
            for (int i = 0; i < many; ++i)
            {
                peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties(), std::to_string(i));
                if (i % (many / 2) == 0)
                {
                    peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties(), body);
                }
            }
            peer.CloseChannel(1);
            peer.CloseConnection();
        });
    broker.Deadline(20s);
    const auto connection = LogIn(broker, {.heartbeat = 4s});
    const auto channel = OpenChannel(connection);

    const Amqp::Batch batch(*channel);
    EXPECT_TRUE(batch.Gathers());
    for (int i = 0; i < many; ++i)
    {
        channel->Publish("", "q", std::to_string(i), 0, {});
        if (i % (many / 2) == 0)
        {
            channel->Publish("", "q", body, 0, {});
        }
    }
}
