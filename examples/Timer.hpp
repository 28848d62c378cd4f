// A timer for a poll loop: its descriptor is readable when it has expired.
#pragma once

#include <chrono>
#include <cstdint>
#include <sys/timerfd.h>
#include <unistd.h>

class Timer
{
public:
    explicit Timer(std::chrono::milliseconds period) : descriptor(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK))
    {
        const timespec time = {period.count() / 1000, period.count() % 1000 * 1'000'000};
        const itimerspec times = {time, time};
        timerfd_settime(descriptor, 0, &times, nullptr);
    }
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;
    ~Timer() { close(descriptor); }

    int Descriptor() const { return descriptor; }

    // How often it has expired since this was last asked.
    std::uint64_t Expired() const
    {
        std::uint64_t times = 0;
        return read(descriptor, &times, sizeof times) == sizeof times ? times : 0;
    }

private:
    const int descriptor;
};
