#include "engine/Writer.hpp"

#include "engine/FrameEncoder.hpp"
#include "engine/Socket.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>

namespace Amqp
{

namespace
{

using std::chrono::milliseconds;

constexpr std::array<char, frameOverhead> heartbeatFrame = {AMQP_FRAME_HEARTBEAT, 0, 0, 0, 0, 0, 0, frameEnd};

} // namespace

void Writer::Start()
{
    if (session.Line().IsPlain())
    {
        gathering.Start(session.State());
    }
}

// An application may publish without ever calling Run. Then only this function reads the peer's heartbeats, once
// nothing has arrived for one interval.
int Writer::Usable()
{
    const Heartbeats& pulse = session.Pulse();
    if (session.Failure() != AMQP_STATUS_OK || !pulse.AreOn() || Clock::now() < pulse.NextLook())
    {
        return session.Failure();
    }
    inbound.TakeIn();
    if (Clock::now() < pulse.End() || session.Failure() != AMQP_STATUS_OK)
    {
        return session.Failure();
    }
    // Handlers may have taken so long over what was read before that the peer's latest bytes are still in the socket.
    const bool heard = Socket::Await(session.Descriptor(), {.input = true}, -1, milliseconds(0)).input;
    return heard ? session.Failure() : session.GiveUpPeer();
}

int Writer::Message(std::uint16_t channel, const OutgoingMessage& message)
{
    if (!gathering.IsOn())
    {
        return WriteMessage(channel, message);
    }
    int status = AMQP_STATUS_OK;
    if (message.body.size() < gatheredBelow)
    {
        status = WriteMessage(channel, message);
    }
    else
    {
        const Gathering::Pause pause(gathering);
        status = WriteMessage(channel, message);
    }
    gathering.Wrote(message.body.size());
    return status;
}

int Writer::WriteMessage(std::uint16_t channel, const OutgoingMessage& message)
{
    int status = Usable();
    if (status != AMQP_STATUS_OK)
    {
        return status;
    }
    MessageFrames frames(channel, message, session.FrameMax(), room);
    status = frames.EncodeHead();
    while (status == AMQP_STATUS_OK && frames.HasNext())
    {
        const std::span<std::string_view> pieces = frames.Next();
        status = HandOver(pieces, frames.HasNext());
        if (status != AMQP_STATUS_OK)
        {
            return session.Fail(status);
        }
    }
    return status;
}

int Writer::Method(std::uint16_t channel, amqp_method_number_t id, void* fields)
{
    if (session.Failure() != AMQP_STATUS_OK)
    {
        return session.Failure();
    }
    int status = AMQP_STATUS_OK;
    std::string_view frame = Encode(channel, id, fields, status);
    if (status != AMQP_STATUS_OK)
    {
        return status;
    }
    status = HandOver({&frame, 1}, false);
    return status == AMQP_STATUS_OK ? status : session.Fail(status);
}

void Writer::Verdict(std::uint16_t channel, amqp_method_number_t id, void* fields, bool more)
{
    if (session.Failure() != AMQP_STATUS_OK)
    {
        return;
    }
    int status = AMQP_STATUS_OK;
    std::string_view frame = Encode(channel, id, fields, status);
    if (status == AMQP_STATUS_OK)
    {
        HandOver({&frame, 1}, more);
    }
}

void Writer::Answer(std::uint16_t channel, amqp_method_number_t id, void* fields)
{
    const Gathering::Pause pause(gathering);
    Method(channel, id, fields);
}

void Writer::MethodIfRoom(std::uint16_t channel, amqp_method_number_t id, void* fields)
{
    int status = AMQP_STATUS_OK;
    const std::string_view frame = Encode(channel, id, fields, status);
    if (status == AMQP_STATUS_OK)
    {
        session.Line().Send({&frame, 1}, false);
    }
}

int Writer::Heartbeat(Clock::time_point now)
{
    if (!session.Line().IsPlain() && !Socket::Await(session.Descriptor(), {.room = true}, -1, milliseconds(0)).room)
    {
        session.Pulse().Sent(now); // once TLS has the heartbeat, we would have to wait until it is sent
        return session.Failure();
    }
    std::string_view frame(heartbeatFrame.data(), heartbeatFrame.size());
    const std::ptrdiff_t sent = session.Line().Send({&frame, 1}, false);
    session.Pulse().Sent(now);
    if (sent < 0)
    {
        return session.Failure(); // the next read reports the failure
    }
    frame.remove_prefix(static_cast<std::size_t>(sent));
    // If the kernel took no byte, omit the heartbeat. If the kernel or TLS took some, the remaining bytes must follow.
    const bool unseen = sent == 0 && session.Line().IsPlain();
    if (!unseen && !frame.empty())
    {
        HandOver({&frame, 1}, false);
    }
    return session.Failure();
}

void Writer::Push()
{
    if (keptBack)
    {
        Socket::Push(session.Descriptor());
        keptBack = false;
    }
}

std::string_view Writer::Encode(std::uint16_t channel, amqp_method_number_t id, void* fields, int& status)
{
    FrameEncoder encoder(small.data(), small.size() - 2 * frameOverhead);
    status = encoder.Method(channel, id, fields);
    if (status == AMQP_STATUS_OK)
    {
        return {small.data(), static_cast<std::size_t>(encoder.next - small.data())};
    }
    room.large.resize(session.FrameMax() + 2 * frameOverhead);
    FrameEncoder larger(room.large.data(), session.FrameMax());
    status = larger.Method(channel, id, fields);
    return {room.large.data(), static_cast<std::size_t>(larger.next - room.large.data())};
}

int Writer::HandOver(std::span<std::string_view> pieces, bool more)
{
    for (;;)
    {
        std::ptrdiff_t sent = session.Line().Send(pieces, more);
        if (sent < 0)
        {
            return static_cast<int>(sent);
        }
        std::size_t left = 0;
        const bool stuck = sent == 0;
        for (std::string_view& piece : pieces)
        {
            const auto taken = std::min(static_cast<std::size_t>(sent), piece.size());
            piece.remove_prefix(taken);
            sent -= static_cast<std::ptrdiff_t>(taken);
            left += piece.size();
        }
        if (left == 0)
        {
            break;
        }
        const int status = stuck ? AwaitRoom() : static_cast<int>(AMQP_STATUS_OK);
        if (status != AMQP_STATUS_OK)
        {
            return status;
        }
    }
    keptBack = more && session.Line().IsPlain();
    if (session.Pulse().AreOn())
    {
        session.Pulse().Sent(Clock::now());
    }
    return AMQP_STATUS_OK;
}

int Writer::AwaitRoom()
{
    const Heartbeats& pulse = session.Pulse();
    Socket::Push(session.Descriptor()); // bytes that the kernel holds back take room, too
    for (;;)
    {
        std::optional<milliseconds> limit;
        if (pulse.AreOn())
        {
            limit = std::chrono::ceil<milliseconds>(pulse.End() - Clock::now());
        }
        const bool settles = session.Line().WaitsForInput();
        const auto ready = Socket::Await(session.Descriptor(), {.input = true, .room = !settles}, -1, limit);
        if (ready.input)
        {
            // The peer may wait for room, too, and read nothing before we read.
            const int status = inbound.TakeIn();
            if (status != AMQP_STATUS_TIMEOUT)
            {
                return status;
            }
        }
        if (ready.room || (settles && ready.input))
        {
            return AMQP_STATUS_OK;
        }
        if (!ready.input && pulse.AreOn() && Clock::now() >= pulse.End())
        {
            return session.GiveUpPeer();
        }
    }
}

} // namespace Amqp
