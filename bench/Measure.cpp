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
    Time(side, 1); // makes what is made once
    for (std::size_t count = 1;; count *= 2)
    {
        const double taken = Time(side, count);
        if (taken >= seconds / 4)
        {
            return std::max<std::size_t>(1, static_cast<std::size_t>(static_cast<double>(count) * seconds / taken));
        }
    }
}

} // namespace

Comparison Compare(const Side& first, const Side& second, const Effort& effort, std::size_t count)
{
    if (count == 0)
    {
        count = FindCount(second, effort.seconds);
    }
    Time(first, count); // both are warm then
    Time(second, count);

    std::vector<double> ofFirst;
    std::vector<double> ofSecond;
    std::vector<double> ratios;
    for (std::size_t round = 0; round < effort.rounds; ++round)
    {
        const bool swapped = round % 2 != 0;
        const double earlier = Time(swapped ? second : first, count);
        const double later = Time(swapped ? first : second, count);
        ofFirst.push_back((swapped ? later : earlier) / static_cast<double>(count));
        ofSecond.push_back((swapped ? earlier : later) / static_cast<double>(count));
        ratios.push_back(ofSecond.back() / ofFirst.back());
    }
    return {Median(ofFirst), Median(ofSecond), Median(ratios)};
}

} // namespace Bench
