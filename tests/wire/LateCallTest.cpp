// An application has not read its socket for longer than a heartbeat interval, and then makes a call. The call finds
// what the broker closed meanwhile before the library sends the call, and the close replaces the reply.
#include <thread>

#include "LoginOptions.hpp"
#include "Messaging.hpp"

namespace
{

using Amqp::ErrorCode;

constexpr auto heartbeatInterval = 1s;
constexpr auto longerThanThat = heartbeatInterval + 300ms;
constexpr auto behindTheOpening = 100ms; // so that the close is not read together with channel.open-ok

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
