// What the run loop receives.
#include "Operation.hpp"

#include <utility>

namespace Faults
{

using namespace Wire;

namespace
{

const std::string partHash(64, 'a');

std::vector<Piece> Delivery(const Properties& properties, std::string_view body, std::uint64_t tag,
                            const std::string& handled, const std::string& answered, std::uint32_t frameMax = 131072)
{
    const BasicDeliver deliver{.consumerTag = "1/1", .deliveryTag = tag, .exchange = "e", .routingKey = "key"};
    std::vector<Piece> pieces =
        MessagePieces(Encode(deliver), properties, body, frameMax, Awaiting::DeliveredContent, Awaiting::DeliveredBody);
    pieces.back().seen = handled + "run true";
    pieces.back().wire = answered;
    return pieces;
}

std::vector<Piece> Series(const std::string& answered)
{
    std::vector<Piece> all;
    const std::string bodies[] = {"0123", "4567", "89"};
    for (std::uint64_t index = 0; index < 3; ++index)
    {
        const Fields headers{{"x-vnd.zorat.multipart", Bool(true)},
                             {"x-vnd.zorat.multipart.hash", Binary(partHash)},
                             {"x-vnd.zorat.multipart.index", UInt64(index)},
                             {"x-vnd.zorat.multipart.total", UInt64(3)}};
        const std::string handled = index == 2 ? "handles 0123456789; " : "";
        for (Piece& piece : Delivery({.headers = headers}, bodies[index], index + 1, handled, answered))
        {
            all.push_back(std::move(piece));
        }
    }
    return all;
}

// Two messages on two channels, frame by frame in turn.
Operation Interleaved()
{
    std::vector<Piece> answer;
    const std::vector<Frame> one = ContentFrames(1, {}, "one");
    const std::vector<Frame> two = ContentFrames(2, {}, "two");
    for (const std::uint16_t channel : {std::uint16_t{1}, std::uint16_t{2}})
    {
        const BasicDeliver deliver{.consumerTag = std::to_string(channel) + "/1"};
        answer.push_back({{methodFrame, channel, Encode(deliver)}, Awaiting::Event});
    }
    for (const Frame& frame : {one[0], two[0], two[1], one[1]})
    {
        answer.push_back({frame, Awaiting::Event});
    }
    answer[4].seen = "handles two; run true";
    answer[4].wire = "2:basic.ack";
    answer[5].seen = "handles one; run true";
    answer[5].wire = "1:basic.ack";

    Operation step = Consuming("DeliveryInterleaved", Amqp::Explicit, Amqp::Ack, std::move(answer));
    step.prepare = [](Dialogue& peer, std::uint16_t heartbeat)
    {
        PlayLogin(peer, heartbeat);
        for (const std::uint16_t channel : {std::uint16_t{1}, std::uint16_t{2}})
        {
            const std::string tag = std::to_string(channel) + "/1";
            peer.OpenChannel(channel);
            peer.Expect(channel, BasicConsume{.queue = "q", .consumerTag = tag});
            peer.Send(channel, BasicConsumeOk{.consumerTag = tag});
        }
    };
    step.setUp = [](Client& client)
    {
        client.Connect();
        for (int channel = 1; channel <= 2; ++channel)
        {
            client.OpenChannel();
            client.Last().Subscribe("q", client.Handler(), Amqp::Explicit, false, false);
        }
    };
    step.act = [](Client& client) { client.RunUntil(2); };
    step.goodbye = "1:channel.close 2:channel.close 0:connection.close";
    step.ownFramesOnly = false;
    return step;
}

} // namespace

std::vector<Piece> MessagePieces(std::string method, const Properties& properties, std::string_view body,
                                 std::uint32_t frameMax, Awaiting content, Awaiting rest)
{
    std::vector<Piece> pieces{{{methodFrame, 1, std::move(method)}, Awaiting::Event}};
    for (Frame& frame : ContentFrames(1, properties, body, frameMax))
    {
        const Awaiting awaiting = frame.type == headerFrame ? content : rest;
        pieces.push_back({std::move(frame), awaiting});
    }
    return pieces;
}

Operation Consuming(const std::string& name, Amqp::AcknowledgeMode mode, Amqp::Acknowledge verdict,
                    std::vector<Piece> answer, int frameMax)
{
    Operation step;
    step.name = name;
    step.frameMax = frameMax;
    step.prepare = [mode, frameMax](Dialogue& peer, std::uint16_t heartbeat)
    {
        PlayLogin(peer, heartbeat, frameMax);
        peer.OpenChannel(1);
        PlayConsumer(peer, mode == Amqp::Auto);
    };
    step.request = [](Dialogue&) {};
    step.answer = std::move(answer);
    step.setUp = [mode, verdict](Client& client)
    {
        client.Connect();
        client.OpenChannel();
        client.First().Subscribe("q", client.Handler(verdict), mode, false, false);
    };
    step.act = [](Client& client) { client.RunUntil(1); };
    return step;
}

std::vector<Piece> PlainDelivery(const std::string& answered)
{
    return Delivery({.contentType = "text/plain", .headers = Fields{{"key", Text("value")}}, .messageId = "7"}, "body",
                    1, "handles body; ", answered);
}

void AddDeliveries(std::vector<Operation>& all)
{
    all.push_back(Consuming("DeliveryAuto", Amqp::Auto, Amqp::Ack, PlainDelivery("")));
    all.push_back(Consuming("DeliveryNone", Amqp::None, Amqp::Ack, PlainDelivery("")));
    all.push_back(Consuming("DeliveryExplicit", Amqp::Explicit, Amqp::Ack, PlainDelivery("1:basic.ack")));
    all.push_back(Consuming("DeliveryRequeued", Amqp::Explicit, Amqp::Requeue, PlainDelivery("1:basic.nack")));
    all.push_back(
        Consuming("DeliveryEmpty", Amqp::Explicit, Amqp::Nack, Delivery({}, "", 1, "handles ; ", "1:basic.nack")));
    Operation big =
        Consuming("DeliveryBig", Amqp::Explicit, Amqp::Ack,
                  Delivery({}, std::string(4100, 'x'), 1, "handles 4100 octets; ", "1:basic.ack", 4096), 4096);
    big.stride = 37;
    all.push_back(big);
    all.push_back(Consuming("DeliverySeries", Amqp::Explicit, Amqp::Ack, Series("1:basic.ack")));
    Operation series = Consuming("DeliverySeriesAuto", Amqp::Auto, Amqp::Ack, Series(""));
    series.stride = 19;
    all.push_back(series);
    all.push_back(Interleaved());
}

} // namespace Faults
