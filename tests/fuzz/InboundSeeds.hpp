// The seeds of the target Inbound. No broker sends them: messages of several channels are interleaved, cut off, broken
// or lost, with commands between the frames. A plain function without state.
#pragma once

#include <map>
#include <string>

namespace Fuzz
{

std::map<std::string, std::string> InboundSeeds(); // the keys are names

} // namespace Fuzz
