// The goodbyes of either side.
#include "Operation.hpp"

#include <utility>

namespace Faults
{

using namespace Wire;

namespace
{

// The next step of the run loop finds what came while another channel awaited its reply.
Operation CallWhileAnotherIsClosed()
{
    Piece closed{{methodFrame, 1, Encode(ChannelClose{.replyCode = 406})}, Awaiting::Reply};
    Piece purged{{methodFrame, 2, Encode(QueuePurgeOk{})}, Awaiting::Reply};
    purged.seen =
        "returns; told " + Describe(Amqp::ErrorCode::ChannelClosed, 0, "Broker requested channel close") + "; run true";

    Operation step = Consuming("CallWhileAnotherIsClosed", Amqp::Explicit, Amqp::Ack, {closed, purged});
    step.prepare = [](Dialogue& peer, std::uint16_t heartbeat)
    {
        PlayChannel(peer, heartbeat);
        peer.OpenChannel(2);
    };
    step.request = [](Dialogue& peer) { peer.Expect(2, QueuePurge{.queue = "q"}); };
    step.setUp = [](Client& client)
    {
        client.Connect();
        client.OpenChannel();
        client.OpenChannel();
    };
    step.act = [](Client& client)
    {
        client.Call([&] { client.Last().PurgeQueue("q"); });
        client.RunUntil(1);
    };
    step.goodbye = "2:channel.close 0:connection.close";
    step.ownFramesOnly = false;
    return step;
}

} // namespace

void AddCloses(std::vector<Operation>& all)
{
    const ChannelClose channelClose{.replyCode = 406, .replyText = "PRECONDITION_FAILED"};
    Piece piece{{methodFrame, 1, Encode(channelClose)}, Awaiting::Event};
    piece.seen = "told " + Describe(Amqp::ErrorCode::ChannelClosed, 0, "Broker requested channel close") + "; run true";
    Operation dropped = Consuming("BrokerClosesChannel", Amqp::Explicit, Amqp::Ack, {piece});
    dropped.goodbye = "0:connection.close";
    all.push_back(dropped);

    const ConnectionClose connectionClose{.replyCode = 320, .replyText = "CONNECTION_FORCED"};
    piece = {{methodFrame, 0, Encode(connectionClose)}, Awaiting::Event};
    piece.seen = "run false";
    piece.wire = "0:connection.close-ok";
    Operation forced = Consuming("BrokerClosesConnection", Amqp::Explicit, Amqp::Ack, {piece});
    forced.goodbye = "0:connection.close";
    all.push_back(forced);

    Operation channel = Consuming("CloseChannel", Amqp::Explicit, Amqp::Ack,
                                  {{{methodFrame, 1, Encode(ChannelCloseOk{})}, Awaiting::Goodbye}});
    channel.request = [](Dialogue& peer) { peer.Expect(1, ChannelClose{}); };
    channel.act = [](Client& client) { client.CloseChannels(); };
    channel.goodbye = "0:connection.close";
    all.push_back(channel);

    Operation connection;
    connection.name = "CloseConnection";
    connection.channel = 0;
    connection.prepare = [](Dialogue& peer, std::uint16_t heartbeat) { PlayLogin(peer, heartbeat); };
    connection.request = [](Dialogue& peer) { peer.Expect(0, ConnectionClose{}); };
    connection.answer = {{{methodFrame, 0, Encode(ConnectionCloseOk{})}, Awaiting::Goodbye}};
    connection.setUp = [](Client& client) { client.Connect(); };
    connection.act = [](Client& client) { client.Destroy(); };
    connection.goodbye = "";
    all.push_back(connection);
    all.push_back(CallWhileAnotherIsClosed());
}

} // namespace Faults
