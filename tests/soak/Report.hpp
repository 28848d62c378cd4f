// Prints the progress and the result of the run, and decides whether all is well. Belongs to the main thread.
#pragma once

#include "Ledger.hpp"
#include "Memory.hpp"

#include <chrono>
#include <optional>

/// The counts and the memory at a moment when no message is under way.
struct Moment
{
    Counts counts;
    Memory memory;
};

class Report
{
public:
    Report();

    /// Prints one line about the progress.
    void Progress(const Counts& counts);

    /// Prints the last lines: the figures, what is wrong, and the result. Judges the memory only if both moments were
    /// measured.
    /// @return whether all is well.
    static bool Summary(const Counts& counts, const std::optional<Moment>& start, const std::optional<Moment>& end);

private:
    using Clock = std::chrono::steady_clock;

    Clock::time_point begin;
    Clock::time_point lastTime;
    std::uint64_t lastFinished = 0;
};
