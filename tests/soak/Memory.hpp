// The memory of this process. The main thread measures while no message is under way.
#pragma once

#include <cstddef>
#include <cstdint>

struct Memory
{
    std::int64_t resident = 0;  // VmRSS, in bytes
    std::int64_t allocated = 0; // what malloc has handed out, over all threads

    /// Prepares malloc for Trimmed. Call Prepare before the first thread starts.
    static void Prepare();
    /// Returns the memory that the process has now.
    static Memory Now();
    /// Makes malloc release its unused memory to the system, and returns the memory that is left.
    static Memory Trimmed();
};
