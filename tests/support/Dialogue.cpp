// The steps of a dialogue, and the frames they are made of.
#include "Dialogue.hpp"

#include <algorithm>
#include <utility>

namespace Wire
{

namespace
{

constexpr std::string_view protocolHeader{"AMQP\0\0\x09\x01", 8};
constexpr std::string_view endOfStream = "the end of the stream";

} // namespace

Dialogue::Dialogue(Stream connection) : stream(std::move(connection)) {}

void Dialogue::StartTls()
{
    const Step step(*this, "start TLS");
    const std::string_view expected = "a TLS handshake";
    try
    {
        switch (stream.StartTls())
        {
        case Stream::Outcome::Ready:
            return;
        case Stream::Outcome::Ended:
            NotFinished(expected, endOfStream);
        case Stream::Outcome::TimedOut:
            NotFinished(expected, "nothing more before the deadline");
        }
    }
    catch (const TlsFailure& failure)
    {
        Mismatch(expected, failure.what());
    }
}

void Dialogue::OpenChannel(std::uint16_t channel)
{
    const Step step(*this, "open channel " + std::to_string(channel));
    Expect(channel, ChannelOpen{});
    Send(channel, ChannelOpenOk{});
}

void Dialogue::CloseChannel(std::uint16_t channel, const ChannelClose& expected)
{
    const Step step(*this, "close channel " + std::to_string(channel));
    Expect(channel, expected);
    Send(channel, ChannelCloseOk{});
}

void Dialogue::CloseConnection(const ConnectionClose& expected)
{
    const Step step(*this, "close connection");
    Expect(0, expected);
    Send(0, ConnectionCloseOk{});
    ExpectEnd();
}

void Dialogue::ExpectProtocolHeader()
{
    const Step step(*this, "expect the protocol header");
    const std::string expected = Hex(protocolHeader);
    while (received.size() < protocolHeader.size())
    {
        Fill(expected);
    }
    const std::string actual = received.substr(0, protocolHeader.size());
    if (actual != protocolHeader)
    {
        Mismatch(expected, Hex(actual));
    }
    received.erase(0, protocolHeader.size());
}

void Dialogue::ExpectFrame(const Frame& expected, std::string_view what)
{
    const Step step(*this, "expect channel " + std::to_string(expected.channel) + " " + std::string(what));
    RequireSame(expected, NextFrame(Describe(expected)));
}

void Dialogue::SendNamed(const Frame& frame, std::string_view what)
{
    const Step step(*this, "send channel " + std::to_string(frame.channel) + " " + std::string(what));
    SendBytes(FrameBytes(frame));
}

void Dialogue::ExpectContent(std::uint16_t channel, const Properties& properties, std::string_view body)
{
    const Step step(*this, "expect content");
    for (const Frame& frame : ContentFrames(channel, properties, body, frameMax))
    {
        ExpectFrame(frame, frame.type == headerFrame ? "header" : "body");
    }
}

void Dialogue::ExpectPublish(std::uint16_t channel, const BasicPublish& publish, const Properties& properties,
                             std::string_view body)
{
    const Step step(*this, "expect publish");
    Expect(channel, publish);
    ExpectContent(channel, properties, body);
}

void Dialogue::SendContent(std::uint16_t channel, const Properties& properties, std::string_view body)
{
    const Step step(*this, "send content on channel " + std::to_string(channel));
    SendBytes(FrameBytes(ContentFrames(channel, properties, body, frameMax)));
}

void Dialogue::Deliver(std::uint16_t channel, const BasicDeliver& deliver, const Properties& properties,
                       std::string_view body)
{
    const Step step(*this, "deliver on channel " + std::to_string(channel));
    SendBytes(DeliveryBytes(channel, deliver, properties, body, frameMax));
}

void Dialogue::Return(std::uint16_t channel, const BasicReturn& returned, const Properties& properties,
                      std::string_view body)
{
    const Step step(*this, "return");
    Send(channel, returned);
    SendContent(channel, properties, body);
}

Frame Dialogue::ReadFrame()
{
    const Step step(*this, "read a frame");
    return NextFrame("a frame");
}

std::optional<Frame> Dialogue::ReadFrameOrEnd()
{
    const Step step(*this, "read a frame or the end of the stream");
    while (true)
    {
        Frame frame;
        while (TakeFrame(frame))
        {
            if (!IsHeartbeat(frame))
            {
                return frame;
            }
        }
        if (ended && received.empty())
        {
            return {};
        }
        Fill("a frame or the end of the stream");
    }
}

void Dialogue::SendFrame(std::uint8_t type, std::uint16_t channel, std::string_view payload)
{
    const Step step(*this, "send a frame of type " + std::to_string(type));
    SendBytes(FrameBytes({type, channel, std::string(payload)}));
}

void Dialogue::SendBytes(std::string_view bytes)
{
    const Step step(*this, "send " + std::to_string(bytes.size()) + " octets");
    RequireOpen();
    switch (stream.Send(bytes))
    {
    case Stream::Outcome::Ready:
        return;
    case Stream::Outcome::Ended:
        NotFinished("the client to read", "the client has closed the connection");
    case Stream::Outcome::TimedOut:
        NotFinished("the client to read", "it did not before the deadline");
    }
}

void Dialogue::ExpectHeartbeat()
{
    const Step step(*this, "expect a heartbeat");
    const Frame frame = NextFrameOrHeartbeat("a heartbeat");
    if (!IsHeartbeat(frame))
    {
        Mismatch("a heartbeat", Describe(frame));
    }
}

void Dialogue::SendHeartbeat()
{
    SendFrame(heartbeatFrame, 0, "");
}

std::size_t Dialogue::Heartbeats() const
{
    return heartbeats;
}

void Dialogue::ExpectSilence(std::chrono::milliseconds duration)
{
    const std::string expected = "silence for " + std::to_string(duration.count()) + " ms";
    const Step step(*this, "expect " + expected);
    const auto until = std::chrono::steady_clock::now() + duration;
    while (true)
    {
        RequireOpen();
        Frame frame;
        while (TakeFrame(frame))
        {
            if (!IsHeartbeat(frame))
            {
                Mismatch(expected, Describe(frame));
            }
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
        const auto outcome = stream.Receive(received, std::max(left, left.zero()));
        if (outcome == Stream::Outcome::Ended)
        {
            ended = true;
            Mismatch(expected, endOfStream);
        }
        if (outcome == Stream::Outcome::TimedOut)
        {
            if (!received.empty())
            {
                Mismatch(expected, "octets " + Hex(received));
            }
            return;
        }
    }
}

void Dialogue::ExpectEnd()
{
    const Step step(*this, "expect the end of the stream");
    Frame frame;
    while (!ended || !received.empty())
    {
        if (TakeFrame(frame))
        {
            if (!IsHeartbeat(frame))
            {
                Mismatch(endOfStream, Describe(frame));
            }
        }
        else if (ended)
        {
            Mismatch(endOfStream, "octets " + Hex(received));
        }
        else
        {
            Fill(endOfStream);
        }
    }
}

void Dialogue::ReadToEnd()
{
    const Step step(*this, "read to the end of the stream");
    while (!ended)
    {
        received.clear();
        Fill(endOfStream);
    }
    received.clear();
}

void Dialogue::AwaitEnd()
{
    if (!abandoned && (!ended || !received.empty()))
    {
        const Step step(*this, "after the last step of the script");
        ExpectEnd();
    }
}

void Dialogue::EndOutput()
{
    stream.EndOutput();
}

void Dialogue::CutOutput()
{
    stream.CutOutput();
}

void Dialogue::Abandon()
{
    stream.Close();
    abandoned = true;
}

void Dialogue::Reset()
{
    stream.Reset();
    abandoned = true;
}

std::uint32_t Dialogue::FrameMax() const
{
    return frameMax;
}

void Dialogue::FrameMax(std::uint32_t octets)
{
    frameMax = octets;
}

} // namespace Wire
