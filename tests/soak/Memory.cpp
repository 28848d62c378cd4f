#include "Memory.hpp"

#include <fstream>
#include <malloc.h>
#include <stdexcept>
#include <string>

// Makes all threads share one heap, because malloc_trim releases the unused end of the first heap only. The heap of
// another thread would keep some hundred KiB unused, now more, now less.
void Memory::Prepare()
{
    if (mallopt(M_ARENA_MAX, 1) == 0)
    {
        throw std::runtime_error("malloc cannot be told to use one heap");
    }
}

Memory Memory::Now()
{
    const struct mallinfo2 info = mallinfo2();
    Memory memory;
    memory.allocated = static_cast<std::int64_t>(info.uordblks + info.hblkhd);

    constexpr std::int64_t kibibyte = 1024;
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;)
    {
        if (word == "VmRSS:" && status >> memory.resident)
        {
            memory.resident *= kibibyte;
            return memory;
        }
    }
    throw std::runtime_error("/proc/self/status does not tell the resident memory");
}

Memory Memory::Trimmed()
{
    malloc_trim(0);
    return Now();
}
