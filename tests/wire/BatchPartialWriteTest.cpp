// A batch whose peer reads slowly, not at all, or no more: the kernel takes a message in part, and the rest follows or
// the connection fails. The client's send buffer is made small for that.
#include <atomic>
#include <future>
#include <thread>

#include "Batches.hpp"
#include "Listening.hpp"
#include "LoginOptions.hpp"
#include "values/RabbitMq.hpp"

namespace
{

using Amqp::ErrorCode;
using Clock = std::chrono::steady_clock;

constexpr std::size_t many = 300; // more than the peer's buffer takes of such bodies
constexpr std::size_t bodySize = 3000;

std::string BodyOf(std::size_t number)
{
    std::string body = std::to_string(number);
    body.resize(bodySize, 'b');
    return body;
}

// A client in a batch. With heartbeats, it shrinks its buffer only after it has once looked how much room there is.
class SqueezedClient
{
public:
    SqueezedClient(const ScriptedBroker& broker, std::chrono::seconds heartbeat)
        : connection(LogIn(broker, {.heartbeat = heartbeat})),
          channel(std::make_shared<Amqp::Channel>(connection, noted.Notifier())), batch(*channel)
    {
        PublishNext();
        ShrinkSendBuffer(SocketTo(broker.Port()));
    }

    void PublishNext() { channel->Publish("", "q", BodyOf(next++), 0, {}); }

    // Called by the peer: returns when the client has been stuck in one message for a while.
    void AwaitStandstill() const
    {
        constexpr auto aWhile = 300ms;
        std::size_t last = next;
        auto since = Clock::now();
        while (last < 2 || Clock::now() - since < aWhile) // the first is published before the buffer is small
        {
            std::this_thread::sleep_for(5ms);
            if (next != last)
            {
                last = next;
                since = Clock::now();
            }
        }
    }

    // Gives how long the message took whose error it is.
    Clock::duration PublishUntilAnError()
    {
        Clock::time_point start;
        while (noted.errors.empty() && next < many)
        {
            start = Clock::now();
            PublishNext();
        }
        return Clock::now() - start;
    }

    void PublishAll()
    {
        while (next < many)
        {
            PublishNext();
        }
    }

    Noted noted;
    std::shared_ptr<Amqp::Connection> connection;
    std::shared_ptr<Amqp::Channel> channel;

private:
    Amqp::Batch batch;
    std::atomic<std::size_t> next = 0;
};

void ReceiveAll(Dialogue& peer)
{
    for (std::size_t number = 0; number < many; ++number)
    {
        peer.ExpectPublish(1, {.routingKey = "q"}, PlainProperties(), BodyOf(number));
    }
    peer.CloseChannel(1);
    peer.CloseConnection();
}

auto IsLibrary(int status)
{
    return IsError(ErrorCode::Library, -status, amqp_error_string2(status));
}

} // namespace

TEST(BatchPartialWrite, LosesNothingAndKeepsTheOrder)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            std::this_thread::sleep_for(200ms);
            ReceiveAll(peer);
        });
    SqueezedClient client(broker, 0s);

    client.PublishAll();

    EXPECT_THAT(client.noted.errors, testing::IsEmpty());
}

TEST(BatchPartialWrite, WaitsForAPeerThatSendsHeartbeats)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login({.heartbeat = 1});
            peer.OpenChannel(1);
            SendHeartbeatsFor(peer, 2500ms);
            ReceiveAll(peer);
        });
    SqueezedClient client(broker, 1s);

    client.PublishAll();

    EXPECT_THAT(client.noted.errors, testing::IsEmpty());
}

TEST(BatchPartialWrite, EndsWhenThePeerFallsSilent)
{
    Event given;
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login({.heartbeat = 1});
            peer.OpenChannel(1);
            EXPECT_TRUE(given.Wait());
            peer.Abandon();
        });
    SqueezedClient client(broker, 1s);
    const auto start = Clock::now();

    client.PublishUntilAnError();
    given.Set();
    client.PublishNext();

    const auto isSilence = IsLibrary(AMQP_STATUS_HEARTBEAT_TIMEOUT);
    EXPECT_THAT(client.noted.errors, testing::ElementsAre(isSilence, isSilence));
    EXPECT_THAT(ErrorOf([&] { client.connection->Run(); }), isSilence);
    EXPECT_LT(Clock::now() - start, 5s);
}

TEST(BatchPartialWrite, EndsWhenThePeerResetsTheConnection)
{
    std::promise<const SqueezedClient&> made;
    ScriptedBroker broker(
        [&](Dialogue& peer)
        {
            peer.Login();
            peer.OpenChannel(1);
            made.get_future().get().AwaitStandstill();
            peer.Reset();
        });
    SqueezedClient client(broker, 0s);
    made.set_value(client);

    EXPECT_GT(client.PublishUntilAnError(), 20ms); // the one that waited, not the one after it
    client.PublishNext();

    const auto isFailure = IsLibrary(AMQP_STATUS_SOCKET_ERROR);
    EXPECT_THAT(client.noted.errors, testing::ElementsAre(isFailure, isFailure));
    EXPECT_THAT(ErrorOf([&] { client.connection->Run(); }), isFailure);
}
