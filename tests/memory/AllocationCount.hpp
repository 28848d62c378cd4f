// What one thread allocates, in bytes and in blocks: malloc and its kin are replaced for the whole executable, and with
// them operator new, rabbitmq-c and OpenSSL. Each thread has its own figures, so the broker's threads do not count.
#pragma once

#include <cstdint>

struct AllocationCount
{
    std::int64_t live = 0;    // allocated and not freed
    std::int64_t peak = 0;    // the most that was live at a time
    std::uint64_t total = 0;  // allocated in all, whether freed or not
    std::uint64_t blocks = 0; // how many allocations these were; a realloc is one, too
};

// What the calling thread has allocated since its last CountFromZero.
AllocationCount Allocated();

// Returns the calling thread's own figures. Another thread may read them while this one waits for it.
const AllocationCount& FiguresOfThisThread();

void CountFromZero();

// Fails the calling thread's allocation that comes after so many others; the next ones succeed again.
void FailAllocationAfter(std::uint64_t successes);

void FailNoAllocation();
