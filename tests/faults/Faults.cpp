// The octets of every misbehaviour.
#include "Fault.hpp"

#include <random>

namespace Faults
{

using namespace Wire;

namespace
{

constexpr std::uint16_t otherChannel = 9;
constexpr int randomGarbages = 12;

template <typename Method>
std::string MethodBytes(std::uint16_t channel, const Method& method)
{
    return FrameBytes({methodFrame, channel, Encode(method)});
}

std::string WithSize(std::uint32_t size)
{
    Writer writer;
    writer.Octet(methodFrame);
    writer.Short(1);
    writer.Long(size);
    writer.Long(0x003C003C);
    return writer.Bytes();
}

std::string UnknownMethod(std::uint16_t channel, std::uint16_t classId, std::uint16_t methodId)
{
    Writer writer;
    writer.Short(classId);
    writer.Short(methodId);
    writer.Long(0);
    return FrameBytes({methodFrame, channel, writer.Bytes()});
}

std::string UnknownContent(std::uint16_t channel)
{
    std::string payload = EncodeHeader({4, {}});
    payload[1] = 61; // the class
    return FrameBytes({headerFrame, channel, payload});
}

std::string Message(std::uint16_t channel, std::string method)
{
    return FrameBytes({methodFrame, channel, std::move(method)}) +
           FrameBytes(ContentFrames(channel, {.messageId = "12345"}, "other body"));
}

std::string ReturnWith(std::optional<std::string> messageId)
{
    return FrameBytes({methodFrame, 1, Encode(BasicReturn{})}) +
           FrameBytes(ContentFrames(1, {.contentType = "text/plain", .messageId = std::move(messageId)}, "other"));
}

// A frame header that no agreed limit allows, or a frame that does not end as it must.
std::string RandomGarbage(std::mt19937& random)
{
    std::string octets(64, '\0');
    for (char& octet : octets)
    {
        octet = static_cast<char>(random() & 0xFF);
    }
    if ((random() & 1) != 0)
    {
        octets[3] = static_cast<char>(octets[3] | 0x40);
        return octets;
    }
    octets.replace(3, 4, std::string("\0\0\0\x38", 4)); // up to the octet before the last
    octets.back() = '\x31';
    return octets;
}

} // namespace

std::vector<Intrusion> Intrusions(const Operation& operation)
{
    const std::uint16_t own = operation.channel;
    const ChannelClose channelClose{.replyCode = 404, .replyText = "NOT_FOUND"};
    const ConnectionClose connectionClose{.replyCode = 541, .replyText = "INTERNAL_ERROR"};
    const std::string beat = FrameBytes({heartbeatFrame, 0, ""});
    const std::string deliver = Encode(BasicDeliver{.consumerTag = "unknown", .deliveryTag = 99});
    std::vector<Intrusion> all = {
        {"heartbeat", beat},
        {"three heartbeats", beat + beat + beat},
        {"blocked", MethodBytes(0, ConnectionBlocked{.reason = "low on memory"})},
        {"unblocked", MethodBytes(0, ConnectionUnblocked{})},
        {"wrong method", MethodBytes(own, BasicQosOk{})},
        {"wrong method, other channel", MethodBytes(otherChannel, BasicQosOk{})},
        {"channel.close", MethodBytes(own, channelClose)},
        {"channel.close, other channel", MethodBytes(otherChannel, channelClose)},
        {"connection.close", MethodBytes(0, connectionClose)},
        {"connection.close, own channel", MethodBytes(own == 0 ? 1 : own, connectionClose)},
        {"connection.close, other channel", MethodBytes(otherChannel, connectionClose)},
        {"basic.cancel", MethodBytes(own, BasicCancel{.consumerTag = "1/1"})},
        {"basic.cancel, unknown consumer", MethodBytes(own, BasicCancel{.consumerTag = "unknown"})},
        {"basic.ack", MethodBytes(own, BasicAck{})},
        {"basic.ack, other channel", MethodBytes(otherChannel, BasicAck{})},
        {"basic.ack with content", Message(own, Encode(BasicAck{}))},
        {"basic.ack with content, other channel", Message(otherChannel, Encode(BasicAck{}))},
        {"delivery for an unknown tag", Message(own, deliver)},
        {"delivery on another channel", Message(otherChannel, deliver)},
        {"return on another channel", Message(otherChannel, Encode(BasicReturn{}))},
        {"get-ok on another channel", Message(otherChannel, Encode(BasicGetOk{}))},
        {"return without id", ReturnWith({})},
        {"return with a malformed id", ReturnWith("seven")},
        {"return with an empty id", ReturnWith("")},
        {"return with an overflowing id", ReturnWith("18446744073709551616")},
        {"return with an unknown id", ReturnWith("77")},
        {"header", FrameBytes({headerFrame, own, EncodeHeader({4, {}})})},
        {"body", FrameBytes({bodyFrame, own, std::string(4000, 'z')})},
        {"empty body", FrameBytes({bodyFrame, own, ""})},
        {"header, other channel", FrameBytes({headerFrame, otherChannel, EncodeHeader({4, {}})})},
        {"body, other channel", FrameBytes({bodyFrame, otherChannel, "zzz"})},
        {"unknown class", UnknownMethod(own, 99, 1)},
        {"unknown method", UnknownMethod(own, 50, 99)},
        {"unknown method, other channel", UnknownMethod(otherChannel, 50, 99)},
        {"unknown content class", UnknownContent(own)}};
    for (const std::uint8_t type : std::initializer_list<std::uint8_t>{0, 4, 5, 7, 9, 65, 255})
    {
        all.push_back({"frame of unknown type " + std::to_string(type), FrameBytes({type, own, "octets"})});
    }
    return all;
}

std::vector<Intrusion> Garbage(const Operation& operation)
{
    std::vector<Intrusion> all = {
        {"zeros", std::string(64, '\0')},
        {"ones", std::string(64, '\xFF')},
        {"HTTP", "HTTP/1.1 400 Bad Request\r\n\r\n"},
        {"text", std::string(64, 'A')},
        {"frame one octet too large", WithSize(static_cast<std::uint32_t>(operation.frameMax) - 7)},
        {"frame of 2 GiB", WithSize(0x7FFFFFFF)},
        {"frame of 4 GiB", WithSize(0xFFFFFFFF)}};
    for (int seed = 1; seed <= randomGarbages; ++seed)
    {
        std::mt19937 random(static_cast<std::uint32_t>(seed));
        all.push_back({"random " + std::to_string(seed), RandomGarbage(random)});
    }
    return all;
}

} // namespace Faults
