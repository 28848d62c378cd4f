#include "Report.hpp"

#include <algorithm>
#include <iostream>

namespace
{

constexpr std::int64_t kibibyte = 1024;
constexpr std::int64_t growthLimit = 1024 * kibibyte;

// The documented growth. For each routed message with a callback the library keeps an entry in its table of pending
// returns. An entry is a node of a map with a number and a std::function: 72 bytes in a block of 80.
constexpr std::int64_t tableEntry = 80;

// Prints the growth, and returns whether the growth is within the limit.
bool JudgeGrowth(const char* what, std::int64_t start, std::int64_t end, std::int64_t table)
{
    const std::int64_t growth = end - start;
    std::cout << "soak: " << what << " memory: " << start / kibibyte << " KiB at the start, " << end / kibibyte
              << " KiB at the end, growth " << growth / kibibyte << " KiB\n";
    if (growth - table <= growthLimit)
    {
        return true;
    }
    std::cout << "soak: FAILED: " << what << " memory has grown by " << (growth - table) / kibibyte
              << " KiB beyond what is documented; " << growthLimit / kibibyte << " KiB are allowed\n";
    return false;
}

bool JudgeMemory(const Moment& start, const Moment& end)
{
    const std::int64_t entries = static_cast<std::int64_t>(end.counts.kept - start.counts.kept);
    const std::int64_t messages = static_cast<std::int64_t>(end.counts.Finished() - start.counts.Finished());
    const std::int64_t table = entries * tableEntry;
    std::cout << "soak: memory is compared over " << messages << " messages, after a warm-up of "
              << start.counts.Finished() << "; documented growth: " << entries << " routed messages with a callback, "
              << table << " bytes; a leak of " << growthLimit / std::max<std::int64_t>(messages, 1) + 1
              << " bytes a message would show\n";
    const bool resident = JudgeGrowth("resident", start.memory.resident, end.memory.resident, table);
    const bool allocated = JudgeGrowth("allocated", start.memory.allocated, end.memory.allocated, table);
    return resident && allocated;
}

} // namespace

Report::Report() : begin(Clock::now()), lastTime(begin) {}

void Report::Progress(const Counts& counts)
{
    using Seconds = std::chrono::duration<double>;
    const Clock::time_point now = Clock::now();
    const double elapsed = std::max(Seconds(now - lastTime).count(), 1e-3);
    const auto rate = static_cast<std::uint64_t>(static_cast<double>(counts.Finished() - lastFinished) / elapsed);
    const Memory memory = Memory::Now();
    std::cout << "soak: " << std::chrono::duration_cast<std::chrono::seconds>(now - begin).count() << " s, "
              << counts.Finished() << " messages, " << rate << "/s, " << counts.Open() << " under way, resident "
              << memory.resident / kibibyte << " KiB, allocated " << memory.allocated / kibibyte << " KiB" << std::endl;
    lastTime = now;
    lastFinished = counts.Finished();
}

bool Report::Summary(const Counts& counts, const std::optional<Moment>& start, const std::optional<Moment>& end)
{
    std::cout << "soak: " << counts.published << " published, " << counts.received << " received, " << counts.returned
              << " returned\n"
              << "soak: of the received " << counts.series << " series in parts, " << counts.nacked << " nacked; "
              << counts.requeued << " times one was put back\n"
              << "soak: " << counts.refusals << " refusals, " << counts.channels << " channels opened on "
              << counts.churnedConnections << " connections\n";
    bool well = counts.Open() == 0 && counts.doubled == 0 && counts.wrong == 0;
    if (start && end)
    {
        well = JudgeMemory(*start, *end) && well;
    }
    else
    {
        std::cout << "soak: memory was not judged\n";
    }
    // A run without some kind of work proves nothing about that work.
    if (std::min({counts.received, counts.returned, counts.series, counts.nacked, counts.requeued, counts.refusals}) ==
        0)
    {
        std::cout << "soak: FAILED: a kind of message or of refusal never came up\n";
        well = false;
    }
    if (counts.wrong > 0)
    {
        std::cout << "soak: FAILED: " << counts.wrong << " things were wrong\n";
    }
    std::cout << "soak: " << counts.Finished() << " messages, " << counts.Open() << " lost, " << counts.doubled
              << " doubled" << std::endl;
    return well;
}
