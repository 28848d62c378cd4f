// What the program prints, and its verdict.
#pragma once

#include "Ledger.hpp"
#include "Memory.hpp"

#include <chrono>
#include <optional>

/// What was there with nothing under way, at two moments.
struct Moment
{
    Counts counts;
    Memory memory;
};

class Report
{
public:
    Report();

    /// One line on how it goes.
    void Progress(const Counts& counts);

    /// The last lines: figures, what is wrong, and the result. Without moments memory is not judged.
    /// @return whether all is well.
    static bool Summary(const Counts& counts, const std::optional<Moment>& start, const std::optional<Moment>& end);

private:
    using Clock = std::chrono::steady_clock;

    Clock::time_point begin;
    Clock::time_point lastTime;
    std::uint64_t lastFinished = 0;
};
