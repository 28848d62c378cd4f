// The frames of the answer, damaged.
#include "Fault.hpp"

#include <string_view>
#include <utility>

namespace Faults
{

using namespace Wire;

namespace
{

Intrusion Damage(const std::string& name, Frame frame, std::string payload, char letter)
{
    frame.payload = std::move(payload);
    return {name, FrameBytes(frame), true, letter};
}

void AddCuts(std::vector<Intrusion>& all, const Frame& frame)
{
    for (std::size_t size = 0; size < frame.payload.size(); ++size)
    {
        all.push_back(Damage("payload cut at " + std::to_string(size), frame, frame.payload.substr(0, size), 'B'));
    }
    all.push_back(Damage("payload one octet longer", frame, frame.payload + 'x', 'N'));
}

void AddAnnouncements(std::vector<Intrusion>& all, const Frame& frame)
{
    ContentHeader header = DecodeHeader(frame.payload);
    const std::uint64_t announced = header.bodySize;
    const auto announce = [&](const std::string& name, std::uint64_t size, char letter)
    {
        header.bodySize = size;
        all.push_back(Damage(name, frame, EncodeHeader(header), letter));
    };
    announce("body shorter than announced", announced + 1, 'T');
    if (announced == 0)
    {
        return;
    }
    announce("body longer than announced", announced - 1, 'B');
    announce("body that is not announced", 0, 'Z');
    announce("body of four exabytes announced", std::uint64_t{1} << 62, 'T');
}

void AddClass(std::vector<Intrusion>& all, const Frame& frame)
{
    constexpr char connectionClass = 10;
    std::string payload = frame.payload.substr(0, 12) + std::string(2, '\0'); // without properties
    payload[1] = connectionClass;
    all.push_back(Damage("header of another class", frame, payload, 'B'));
}

void AddBodies(std::vector<Intrusion>& all, const Frame& frame)
{
    all.push_back(Damage("body one octet shorter", frame, frame.payload.substr(1), 'T'));
    all.push_back(Damage("body one octet longer", frame, frame.payload + 'x', 'B'));
    all.push_back(Damage("body without octets", frame, "", 'T'));
}

// The right frame on a wrong channel.
void AddStrays(std::vector<Intrusion>& all, const Piece& piece)
{
    Frame stray = piece.frame;
    stray.channel = 9;
    const auto add = [&](const std::string& name, bool replaces, char letter) {
        all.push_back({name, FrameBytes(stray), replaces, letter});
    };
    const bool content = stray.payload.starts_with(std::string_view("\0\x3C", 2)); // the class of messages
    switch (piece.awaiting)
    {
    case Awaiting::Start:
    case Awaiting::Tune:
        add("on another channel", true, 'W');
        break;
    case Awaiting::Open:
    case Awaiting::Reply:
    case Awaiting::Goodbye:
        add("on another channel, too", false, 'N');
        add("on another channel alone", true, 'T');
        break;
    case Awaiting::Event:
        if (!content) // of which the rest would be awaited on that channel
        {
            add("on another channel, too", false, 'S');
        }
        break;
    default:
        add("on another channel, too", false, 'l');
        break;
    }
}

} // namespace

std::vector<Intrusion> Damages(const Piece& piece)
{
    const std::string whole = FrameBytes(piece.frame);
    std::vector<Intrusion> all;
    for (const char end : {'\0', '\xCD', '\xFF'})
    {
        all.push_back({"end octet " + std::to_string(static_cast<unsigned char>(end)),
                       whole.substr(0, whole.size() - 1) + end, true});
    }
    AddStrays(all, piece);
    if (piece.frame.type == bodyFrame)
    {
        AddBodies(all, piece.frame);
        return all;
    }
    AddCuts(all, piece.frame);
    if (piece.frame.type == headerFrame)
    {
        AddAnnouncements(all, piece.frame);
        AddClass(all, piece.frame);
    }
    return all;
}

} // namespace Faults
