// One case: what the peer does in place of the right answer, and what has to come of it. Plain values.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "Operation.hpp"

namespace Faults
{

// What the peer does after it has sent what it sends.
enum class Ending
{
    Obliging,   // answers every goodbye
    Listening,  // reads on, and answers nothing
    Swallowing, // reads on, and does not care whether a frame is whole
    Deaf,       // neither reads nor sends
    EndOutput,  // closes its side, and reads on
    Close,
    Reset
};

enum class Probe
{
    None,
    Unreadable,    // every later use gives the same error again
    ClosedChannel, // the channel's number is closed
    OneMoreStep    // a step of the run loop more
};

struct Expected
{
    std::string seen;                     // by the application
    std::vector<std::string> otherwise{}; // or one of these
    std::optional<std::string> wire;      // by the peer; unknown when it has closed
    bool proceeds = false;                // the broker goes on as if nothing had happened
    Probe probe = Probe::None;
};

struct Case
{
    std::string name;
    const Operation* operation;
    std::vector<std::string> sent; // each with a send of its own
    Ending ending = Ending::Obliging;
    Expected expected;
    bool gone = false;           // the peer ends before the application begins
    std::uint16_t heartbeat = 0; // seconds; such a case lasts longer
    bool publishUntilTold = false;
};

} // namespace Faults
