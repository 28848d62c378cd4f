// What every target is made of: one function that takes octets and returns, or ends the process when something is not
// as it has to be. libFuzzer calls it with octets of its own making, Replay.cpp with those of files. One thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size);

namespace Fuzz
{

// Not an exception, which the code under test might catch; libFuzzer and the sanitizers take an abort as a finding.
inline void Require(bool condition, const std::string& what)
{
    if (!condition)
    {
        std::fprintf(stderr, "not as it has to be: %s\n", what.c_str());
        std::abort();
    }
}

} // namespace Fuzz
