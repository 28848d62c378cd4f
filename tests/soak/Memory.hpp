// What this process holds. Meant to be measured with nothing under way, from one thread.
#pragma once

#include <cstddef>
#include <cstdint>

struct Memory
{
    std::int64_t resident = 0;  // VmRSS, in bytes
    std::int64_t allocated = 0; // what malloc has handed out, over all threads

    /// To be called before the first thread starts, or Trimmed shows what malloc keeps in reserve.
    static void Prepare();
    /// As it stands.
    static Memory Now();
    /// After malloc has given back to the system what it holds in reserve.
    static Memory Trimmed();
};
