// What the program is told on its command line. Plain values.
#pragma once

#include <cstddef>
#include <string>

namespace Bench
{

struct Options
{
    bool quick = false;
    bool withBroker = true;
    std::string only;      // the case of this title, such as "publish 100 B", or those whose titles contain it
    std::size_t count = 0; // for profilers: the library's side does its work so many times, and nothing else happens
    std::string output;    // a file for the figures
    std::string serve;     // the address on which to be the peer, for another such program
    std::string peer;      // ADDRESS:PORT of such a peer
};

// Throws std::runtime_error for what it does not know.
Options ParseOptions(int count, char** arguments);

} // namespace Bench
