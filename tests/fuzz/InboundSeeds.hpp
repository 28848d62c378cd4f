// Seeds of the receive step, which no broker says: messages of many channels in between each other, cut, broken and
// lost, and the commands in between. Plain octets, no threads.
#pragma once

#include <map>
#include <string>

namespace Fuzz
{

std::map<std::string, std::string> InboundSeeds(); // by name

} // namespace Fuzz
