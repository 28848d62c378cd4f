// Commands in an input of the target Inbound. A frame of a type of its own holds commands and is not sent. Each byte of
// its payload is a command (the low four bits) with an argument (the high four bits). Plain functions without state.
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
    SendLate, // send the last bytes before the next commands after these commands
    // The following commands handle an event that is held. If no event is held, they mean Next.
    Park,
    Keep,
    TakeBody,
    Move,
    Drop,
    // The following commands end the session, after which few bugs can be found. So only one of the sixteen arguments
    // selects them.
    Fail, // as if a write had failed
    GiveUpPeer,
    Leave // destroy everything at once, with parked events and unfinished messages
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
