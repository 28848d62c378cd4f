// A block of octets that grows as they come: the body of a message whose frames are joined. Memory is never asked for
// before there is something to put into it, whatever a peer announces. Belongs to whoever holds it.
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
    /// Takes over what rabbitmq-c allocated; the octets are as they are.
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

    /// Adds octets at the end, knowing how many there may be in all. Gives false when there is no memory: nothing has
    /// changed then.
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

    // A large block is moved by the kernel and not copied.
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
