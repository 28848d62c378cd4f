// A block of bytes that grows as bytes arrive: the body of a message of several frames. A peer may announce a body of
// any size. So a block allocates at most 1 MiB at first, and at most doubles each time it is full. A block has one
// owner; only the owner's thread uses it.
#pragma once

#include "values/RabbitMq.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

namespace Amqp
{

class Octets
{
public:
    Octets() = default;
    /// Takes ownership of memory that rabbitmq-c has allocated. Does not initialise the bytes.
    explicit Octets(amqp_bytes_t allocated)
        : data(static_cast<char*>(allocated.bytes)), size(allocated.len), capacity(allocated.len)
    {
    }

    Octets(Octets&& other) noexcept
        : data(std::move(other.data)), size(std::exchange(other.size, 0)), capacity(std::exchange(other.capacity, 0))
    {
    }
    Octets& operator=(Octets&& other) noexcept
    {
        data = std::move(other.data);
        size = std::exchange(other.size, 0);
        capacity = std::exchange(other.capacity, 0);
        return *this;
    }

    std::string_view View() const { return {data.get(), size}; }
    char* Data() { return data.get(); }
    std::size_t Capacity() const { return capacity; }
    void Clear() { size = 0; }

    /// Adds bytes at the end. `announced` is the size that the whole block will have. Returns false if there is no
    /// memory; the block is then unchanged.
    bool Append(std::string_view more, std::size_t announced)
    {
        const std::size_t needed = size + more.size();
        if (needed > capacity && !Grow(needed, announced))
        {
            return false;
        }
        if (!more.empty())
        {
            std::memcpy(data.get() + size, more.data(), more.size());
        }
        size = needed;
        return true;
    }

private:
    struct Free
    {
        void operator()(char* octets) const { std::free(octets); }
    };

    // realloc need not copy a large block: Linux moves its pages.
    bool Grow(std::size_t needed, std::size_t announced)
    {
        constexpr std::size_t first = std::size_t{1} << 20;
        const std::size_t wanted = std::max(needed, std::min(announced, std::max(first, 2 * capacity)));
        auto* const grown = static_cast<char*>(std::realloc(data.get(), wanted));
        if (grown == nullptr)
        {
            return false;
        }
        static_cast<void>(data.release());
        data.reset(grown);
        capacity = wanted;
        return true;
    }

    std::unique_ptr<char, Free> data;
    std::size_t size = 0;
    std::size_t capacity = 0;
};

} // namespace Amqp
