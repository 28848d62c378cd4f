// A progress bar on standard error: drawn on a terminal, silent anywhere else.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <unistd.h>

class Progress
{
public:
    explicit Progress(std::uint64_t whole) : total(whole), visible(isatty(STDERR_FILENO) == 1) {}
    void Advance(std::uint64_t amount)
    {
        done += amount;
        const int percent = total == 0 ? 100 : static_cast<int>(done * 100 / total);
        if (visible && percent != drawn)
        {
            drawn = percent;
            const auto filled = static_cast<std::size_t>(percent / 2);
            std::fprintf(stderr, "\r[%s%s] %3d %%%s", std::string(filled, '#').c_str(),
                         std::string(50 - filled, ' ').c_str(), percent, percent == 100 ? "\n" : "");
        }
    }

private:
    const std::uint64_t total;
    const bool visible;
    std::uint64_t done = 0;
    int drawn = -1;
};
