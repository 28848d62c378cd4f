#include "AllocationCount.hpp"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <malloc.h>

// The C library's own, under the names it keeps for those who replace them.
extern "C"
{
    void* __libc_malloc(std::size_t size) noexcept;
    void* __libc_calloc(std::size_t count, std::size_t size) noexcept;
    void* __libc_realloc(void* block, std::size_t size) noexcept;
    void* __libc_memalign(std::size_t alignment, std::size_t size) noexcept;
    void __libc_free(void* block) noexcept;
}

namespace
{

thread_local AllocationCount count;
thread_local std::uint64_t untilFailure = UINT64_MAX;

bool Fails()
{
    return untilFailure-- == 0;
}

void* Add(void* block)
{
    if (block != nullptr)
    {
        const std::size_t size = malloc_usable_size(block);
        count.live += static_cast<std::int64_t>(size);
        count.peak = std::max(count.peak, count.live);
        count.total += size;
        ++count.blocks;
    }
    return block;
}

void Subtract(std::size_t size)
{
    count.live -= static_cast<std::int64_t>(size);
}

} // namespace

extern "C"
{
    void* malloc(std::size_t size) noexcept
    {
        return Fails() ? nullptr : Add(__libc_malloc(size));
    }

    void* calloc(std::size_t members, std::size_t size) noexcept
    {
        return Fails() ? nullptr : Add(__libc_calloc(members, size));
    }

    void* realloc(void* block, std::size_t size) noexcept
    {
        const std::size_t before = malloc_usable_size(block);
        void* const moved = __libc_realloc(block, size);
        if (moved != nullptr || size == 0)
        {
            Subtract(before);
        }
        return Add(moved);
    }

    void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept
    {
        return Add(__libc_memalign(alignment, size));
    }

    int posix_memalign(void** block, std::size_t alignment, std::size_t size) noexcept
    {
        *block = Add(__libc_memalign(alignment, size));
        return *block == nullptr ? ENOMEM : 0;
    }

    void free(void* block) noexcept
    {
        Subtract(malloc_usable_size(block));
        __libc_free(block);
    }
}

AllocationCount Allocated()
{
    return count;
}

const AllocationCount& FiguresOfThisThread()
{
    return count;
}

void CountFromZero()
{
    count = {};
}

void FailAllocationAfter(std::uint64_t successes)
{
    untilFailure = successes;
}

void FailNoAllocation()
{
    untilFailure = UINT64_MAX;
}
