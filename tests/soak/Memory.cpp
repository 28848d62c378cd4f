#include "Memory.hpp"

#include <fstream>
#include <malloc.h>
#include <stdexcept>
#include <string>

// malloc_trim gives back the unused end of the first heap only. Each further thread's own heap would keep up to several
// hundred KiB there, by chance more or less.
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
