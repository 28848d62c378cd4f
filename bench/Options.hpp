// The options of the command line. Plain values, used by the main thread.
#pragma once

#include <cstddef>
#include <string>

namespace Bench
{

struct Options
{
    bool quick = false;
    bool withBroker = true;
    std::string only;      // the title of a case, such as "publish 100 B", or a part of the titles of some cases
    std::size_t count = 0; // for profilers: do the work so often with the library, and nothing else
    std::string output;    // the file to which the figures are written
    std::string serve;     // the address on which to be the peer of another bench program
    std::string peer;      // ADDRESS:PORT of a bench program that is the peer
};

// Parses the arguments. Throws std::runtime_error if it does not know an argument, or a value is missing.
Options ParseOptions(int count, char** arguments);

} // namespace Bench
