// What an input of the receive step says beside the octets of a peer: a frame of a type that is never sent, in which
// each octet is a command, the low half of it, with an argument, the high one. Plain values, no threads.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "support/Content.hpp"

namespace Fuzz
{

constexpr std::uint8_t commandFrame = 0xC0;

enum class Command : std::uint8_t
{
    Next,
    NextUnparked,
    TakeIn,
    TakeParkedClose,
    TakeClose,
    SendLate, // the last octets of what comes before the next commands come after them
    // These are about an event that is held; when there is none they are Next.
    Park,
    Keep,
    TakeBody,
    Move,
    Drop,
    // What ends a session comes with one argument of the sixteen: little can be seen after it.
    Fail, // as when nothing can be written any more
    GiveUpPeer,
    Leave // what is parked or has begun then is never taken
};

inline std::pair<Command, std::size_t> Decode(char octet)
{
    const auto value = static_cast<std::uint8_t>(octet);
    const std::size_t argument = value >> 4;
    auto command = static_cast<Command>(value & 0x0F);
    if (command > Command::Leave || (command >= Command::Fail && argument != 15))
    {
        command = Command::Next;
    }
    return {command, argument};
}

inline char Encode(Command command)
{
    const int argument = command >= Command::Fail ? 15 : 3;
    return static_cast<char>(argument << 4 | static_cast<int>(command));
}

inline std::string CommandFrame(const std::string& commands)
{
    return Wire::FrameBytes(Wire::Frame{commandFrame, 0, commands});
}

} // namespace Fuzz
