// A call of an application that has not looked at its socket for longer than a heartbeat takes: what the broker closed
// meanwhile is found before the call is sent, and is its answer.
#include <thread>

#include "LoginOptions.hpp"
#include "Messaging.hpp"

namespace
{

using Amqp::ErrorCode;

constexpr auto heartbeatInterval = 1s;
constexpr auto longerThanThat = heartbeatInterval + 300ms;
constexpr auto behindTheOpening = 100ms; // so that it is not read together with the reply to that

} // namespace

TEST(LateCall, IsRefusedByTheCloseOfItsChannelThatHasArrivedBefore)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login({.heartbeat = 1});
            peer.OpenChannel(1);
            SendHeartbeatsFor(peer, behindTheOpening);
            peer.Send(1, ChannelClose{.replyCode = 406, .replyText = "PRECONDITION_FAILED"});
            peer.Expect(1, QueuePurge{.queue = "q"});
            peer.Expect(1, ChannelCloseOk{});
            peer.CloseConnection();
        });
    Noted noted;
    const auto connection = LogIn(broker, {.heartbeat = heartbeatInterval});
    const auto channel = std::make_shared<Amqp::Channel>(connection, noted.Notifier());
    std::this_thread::sleep_for(longerThanThat);

    channel->PurgeQueue("q");

    EXPECT_THAT(noted.errors, testing::ElementsAre(IsError(ErrorCode::ChannelClosed, 406, "PRECONDITION_FAILED")));
}

TEST(LateCall, ThrowsTheCloseOfTheConnectionThatHasArrivedBeforeAndSendsNothingElse)
{
    ScriptedBroker broker(
        [](Dialogue& peer)
        {
            peer.Login({.heartbeat = 1});
            peer.OpenChannel(1);
            SendHeartbeatsFor(peer, behindTheOpening);
            peer.Send(0, ConnectionClose{.replyCode = 320, .replyText = "CONNECTION_FORCED"});
            peer.Expect(1, ConnectionCloseOk{});
            peer.CloseConnection();
        });
    const auto connection = LogIn(broker, {.heartbeat = heartbeatInterval});
    const auto channel = OpenChannel(connection);
    std::this_thread::sleep_for(longerThanThat);

    const ErrorCode error = ErrorOf([&] { channel->PurgeQueue("q"); });

    EXPECT_THAT(error, IsError(ErrorCode::ConnectionClosed, 320, "CONNECTION_FORCED"));
}
