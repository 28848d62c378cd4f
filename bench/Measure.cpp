#include "Measure.hpp"

#include <algorithm>
#include <chrono>
#include <vector>

namespace Bench
{

namespace
{

using Clock = std::chrono::steady_clock;

double Time(const Side& side, std::size_t count)
{
    if (side.before)
    {
        side.before(count);
    }
    const auto start = Clock::now();
    side.run(count);
    const std::chrono::duration<double> taken = Clock::now() - start;
    if (side.after)
    {
        side.after();
    }
    return taken.count();
}

double Median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

std::size_t FindCount(const Side& side, double seconds)
{
    Time(side, 1); // the first time includes what happens only once
    for (std::size_t count = 1;; count *= 2)
    {
        const double taken = Time(side, count);
        if (taken >= seconds / 4)
        {
            return std::max<std::size_t>(1, static_cast<std::size_t>(static_cast<double>(count) * seconds / taken));
        }
    }
}

struct Times
{
    std::vector<double> library;
    std::vector<double> bare;
    std::vector<double> ratios;
};

void RunRounds(const Sides& sides, std::size_t rounds, std::size_t count, Times& times)
{
    const std::size_t some = std::max<std::size_t>(1, count / 4);
    Time(sides.library, some); // warms both sides up
    Time(sides.bare, some);
    for (std::size_t round = 0; round < rounds; ++round)
    {
        const bool swapped = times.ratios.size() % 2 != 0;
        const double earlier = Time(swapped ? sides.bare : sides.library, count);
        const double later = Time(swapped ? sides.library : sides.bare, count);
        times.library.push_back((swapped ? later : earlier) / static_cast<double>(count));
        times.bare.push_back((swapped ? earlier : later) / static_cast<double>(count));
        times.ratios.push_back(times.bare.back() / times.library.back());
    }
}

} // namespace

Comparison Compare(const std::function<Sides()>& prepare, const Effort& effort, std::size_t count)
{
    Times times;
    for (std::size_t setting = 0; setting < effort.settings; ++setting)
    {
        const Sides sides = prepare();
        if (count == 0)
        {
            count = FindCount(sides.bare, effort.seconds);
        }
        RunRounds(sides, effort.rounds, count, times);
    }
    return {Median(times.library), Median(times.bare), Median(times.ratios)};
}

} // namespace Bench
