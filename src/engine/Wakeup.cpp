#include "engine/Wakeup.hpp"

#include "values/Texts.hpp"

#include <array>
#include <cstdint>
#include <stdexcept>

#include <fcntl.h>
#include <unistd.h>
#if __has_include(<sys/eventfd.h>)
#include <sys/eventfd.h>
#endif

namespace Amqp
{

Wakeup::Wakeup()
{
#ifdef EFD_NONBLOCK
    reading = writing = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
#else
    std::array<int, 2> ends = {-1, -1};
    if (pipe(ends.data()) == 0)
    {
        reading = ends[0];
        writing = ends[1];
        for (const int end : ends)
        {
            fcntl(end, F_SETFL, O_NONBLOCK);
            fcntl(end, F_SETFD, FD_CLOEXEC);
        }
    }
#endif
    if (reading < 0)
    {
        throw std::runtime_error(ownTexts.noWakeup);
    }
}

Wakeup::~Wakeup()
{
    close(reading);
    if (writing != reading)
    {
        close(writing);
    }
}

// The write fails only if earlier signals have filled the counter or the pipe. The descriptor can then be read anyway.
void Wakeup::Signal() const
{
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = write(writing, &one, sizeof one);
}

void Wakeup::Clear() const
{
    std::array<std::uint64_t, 64> counts;
    while (read(reading, counts.data(), sizeof counts) == sizeof counts)
    {
    }
}

} // namespace Amqp
