// How a dialogue takes frames out of the octets that arrive, and how it words what went wrong.
#include "Dialogue.hpp"

#include <algorithm>
#include <utility>

namespace Wire
{

namespace
{

constexpr std::size_t payloadOffset = 7;

// Shows the octets where they part, since the readable texts may be cut short or even be alike.
std::string Difference(const Frame& expected, const Frame& actual)
{
    const auto [left, right] =
        std::mismatch(expected.payload.begin(), expected.payload.end(), actual.payload.begin(), actual.payload.end());
    if (left == expected.payload.end() && right == actual.payload.end())
    {
        return "";
    }
    constexpr std::size_t shown = 16;
    const auto at = static_cast<std::size_t>(left - expected.payload.begin());
    return "\n  payloads of " + std::to_string(expected.payload.size()) + " and " +
           std::to_string(actual.payload.size()) + " octets part at octet " + std::to_string(at) + ": expected [" +
           Hex(std::string_view(expected.payload).substr(at, shown)) + "], actual [" +
           Hex(std::string_view(actual.payload).substr(at, shown)) + "]";
}

} // namespace

Dialogue::Step::Step(Dialogue& owner, std::string text) : dialogue(owner), outer(owner.current)
{
    if (dialogue.depth++ == 0)
    {
        ++dialogue.steps;
        dialogue.current = std::move(text);
    }
    else
    {
        dialogue.current += ": " + text;
    }
}

Dialogue::Step::~Step()
{
    --dialogue.depth;
    dialogue.current = std::move(outer);
}

std::string Dialogue::Where() const
{
    return "step " + std::to_string(steps) + (current.empty() ? "" : ": " + current);
}

void Dialogue::RequireOpen()
{
    if (abandoned)
    {
        Mismatch("an open connection", "the script has closed it");
    }
}

void Dialogue::RequireSame(const Frame& expected, const Frame& actual)
{
    if (!(expected == actual))
    {
        Mismatch(Describe(expected), Describe(actual) + Difference(expected, actual));
    }
}

void Dialogue::NotFinished(std::string_view expected, std::string_view actual)
{
    throw ScriptFailure("script not finished: waiting at " + Where() + "\n  expected: " + std::string(expected) +
                        "\n  actual:   " + std::string(actual));
}

void Dialogue::Mismatch(std::string_view expected, std::string_view actual)
{
    throw ScriptFailure(Where() + "\n  expected: " + std::string(expected) + "\n  actual:   " + std::string(actual));
}

void Dialogue::Fill(std::string_view expected)
{
    RequireOpen();
    const auto unread = [this] { return received.empty() ? "" : " after the octets " + Hex(received); };
    if (!ended)
    {
        switch (stream.Receive(received))
        {
        case Stream::Outcome::Ready:
            return;
        case Stream::Outcome::TimedOut:
            NotFinished(expected, "nothing more before the deadline" + unread());
        case Stream::Outcome::Ended:
            ended = true;
            return;
        }
    }
    NotFinished(expected, "the end of the stream" + unread());
}

// False when the frame has not arrived whole.
bool Dialogue::TakeFrame(Frame& frame)
{
    if (received.size() < payloadOffset)
    {
        return false;
    }
    Reader reader(received);
    frame.type = reader.Octet();
    frame.channel = reader.Short();
    const std::size_t size = reader.Long();
    if (frameMax != 0 && size + frameOverhead > frameMax)
    {
        Mismatch("a frame of at most " + std::to_string(frameMax) + " octets",
                 "a frame of type " + std::to_string(frame.type) + " with a payload of " + std::to_string(size) +
                     " octets, beginning " + Hex(received.substr(0, 64)));
    }
    if (received.size() < size + frameOverhead)
    {
        return false;
    }
    frame.payload = received.substr(payloadOffset, size);
    const auto last = static_cast<unsigned char>(received[payloadOffset + size]);
    received.erase(0, size + frameOverhead);
    if (last != frameEnd)
    {
        Mismatch("a frame that ends with octet ce", Describe(frame) + " with octet " + std::to_string(last));
    }
    if (IsHeartbeat(frame))
    {
        ++heartbeats;
    }
    return true;
}

Frame Dialogue::NextFrameOrHeartbeat(std::string_view expected)
{
    RequireOpen();
    Frame frame;
    while (!TakeFrame(frame))
    {
        Fill(expected);
    }
    return frame;
}

Frame Dialogue::NextFrame(std::string_view expected)
{
    Frame frame = NextFrameOrHeartbeat(expected);
    while (IsHeartbeat(frame))
    {
        frame = NextFrameOrHeartbeat(expected);
    }
    return frame;
}

} // namespace Wire
