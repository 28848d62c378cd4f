// Encoding, decoding, splitting and printing of frames and content headers.
#include "Content.hpp"

#include <algorithm>

namespace Wire
{

namespace
{

constexpr std::uint16_t basicClass = 60;
constexpr unsigned highestFlag = 15;
constexpr unsigned unusedFlags = 3; // two lowest bits: fourteen properties, and the continuation no peer sends

void Put(Writer& writer, const std::string& value)
{
    writer.ShortString(value);
}

void Put(Writer& writer, const Fields& value)
{
    writer.Table(value);
}

void Put(Writer& writer, std::uint8_t value)
{
    writer.Octet(value);
}

void Put(Writer& writer, std::uint64_t value)
{
    writer.LongLong(value);
}

void Take(Reader& reader, std::string& value)
{
    value = reader.ShortString();
}

void Take(Reader& reader, Fields& value)
{
    value = reader.Table();
}

void Take(Reader& reader, std::uint8_t& value)
{
    value = reader.Octet();
}

void Take(Reader& reader, std::uint64_t& value)
{
    value = reader.LongLong();
}

std::string Print(const std::string& value)
{
    return Quote(value);
}

std::string Print(const Fields& value)
{
    return Describe(value);
}

std::string Print(std::uint64_t value)
{
    return std::to_string(value);
}

} // namespace

bool IsHeartbeat(const Frame& frame)
{
    return frame == Frame{.type = heartbeatFrame};
}

std::string EncodeHeader(const ContentHeader& header)
{
    unsigned flags = 0;
    unsigned bit = highestFlag;
    Writer values;
    Properties::Visit(header.properties,
                      [&](std::string_view, const auto& property)
                      {
                          if (property)
                          {
                              flags |= 1U << bit;
                              Put(values, *property);
                          }
                          --bit;
                      });
    Writer writer;
    writer.Short(basicClass);
    writer.Short(0); // weight
    writer.LongLong(header.bodySize);
    writer.Short(static_cast<std::uint16_t>(flags));
    writer.Raw(values.Bytes());
    return writer.Bytes();
}

ContentHeader DecodeHeader(std::string_view payload)
{
    Reader reader(payload);
    ContentHeader header;
    const std::uint16_t classId = reader.Short();
    const std::uint16_t weight = reader.Short();
    header.bodySize = reader.LongLong();
    const unsigned flags = reader.Short();
    if (classId != basicClass || weight != 0 || (flags & unusedFlags) != 0)
    {
        throw Malformed("class " + std::to_string(classId) + ", weight " + std::to_string(weight) + ", flags " +
                        std::to_string(flags));
    }
    unsigned bit = highestFlag;
    Properties::Visit(header.properties,
                      [&](std::string_view, auto& property)
                      {
                          if ((flags & (1U << bit)) != 0)
                          {
                              Take(reader, property.emplace());
                          }
                          --bit;
                      });
    if (reader.Left() != 0)
    {
        throw Malformed(std::to_string(reader.Left()) + " octets too many");
    }
    return header;
}

std::vector<Frame> ContentFrames(std::uint16_t channel, const Properties& properties, std::string_view body,
                                 std::uint32_t frameMax)
{
    std::vector<Frame> frames{{headerFrame, channel, EncodeHeader({body.size(), properties})}};
    const std::size_t whole = std::max<std::size_t>(body.size(), 1);
    const std::size_t piece = frameMax > frameOverhead ? frameMax - frameOverhead : whole;
    for (std::size_t start = 0; start < body.size(); start += piece)
    {
        frames.push_back({bodyFrame, channel, std::string(body.substr(start, piece))});
    }
    return frames;
}

std::string FrameBytes(const Frame& frame)
{
    Writer writer;
    writer.Octet(frame.type);
    writer.Short(frame.channel);
    writer.LongString(frame.payload);
    writer.Octet(frameEnd);
    return writer.Bytes();
}

std::string FrameBytes(const std::vector<Frame>& frames)
{
    std::string bytes;
    for (const Frame& frame : frames)
    {
        bytes += FrameBytes(frame);
    }
    return bytes;
}

std::string DeliveryBytes(std::uint16_t channel, const BasicDeliver& deliver, const Properties& properties,
                          std::string_view body, std::uint32_t frameMax)
{
    return FrameBytes({methodFrame, channel, Encode(deliver)}) +
           FrameBytes(ContentFrames(channel, properties, body, frameMax));
}

std::string Describe(const Properties& properties)
{
    std::string text = "{";
    Properties::Visit(properties,
                      [&](std::string_view name, const auto& property)
                      {
                          if (property)
                          {
                              text += (text.size() == 1 ? "" : ", ") + std::string(name) + "=" + Print(*property);
                          }
                      });
    return text + "}";
}

std::string Describe(const Frame& frame)
{
    const std::string where = "channel " + std::to_string(frame.channel) + " ";
    switch (frame.type)
    {
    case methodFrame:
        return where + DescribePayload(frame.payload);
    case headerFrame:
        try
        {
            const ContentHeader header = DecodeHeader(frame.payload);
            return where + "header {body-size=" + std::to_string(header.bodySize) + "} " + Describe(header.properties);
        }
        catch (const Malformed& damage)
        {
            return where + "damaged header (" + damage.what() + ") " + Hex(frame.payload);
        }
    case bodyFrame:
        return where + "body of " + std::to_string(frame.payload.size()) + " octets " + Quote(frame.payload);
    case heartbeatFrame:
        return where + "heartbeat " + Quote(frame.payload);
    default:
        return where + "frame of type " + std::to_string(frame.type) + " " + Hex(frame.payload);
    }
}

} // namespace Wire
