// What is measured. Each case makes its two sides when its turn comes, and they take everything down as they go.
#pragma once

#include "Measure.hpp"
#include "Site.hpp"

#include <cstddef>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace Bench
{

struct Case
{
    std::string group;
    std::string name;
    std::optional<double> target; // how many times as fast as rabbitmq-c alone the library has to be
    std::optional<double> targetOnBroker = {};
    std::function<Sides(const Site&)> prepare;
    std::size_t count = 0;                                            // what one round does; 0 to find out
    std::size_t mostRounds = std::numeric_limits<std::size_t>::max(); // for what takes long
    bool manySettings = false; // with large bodies TCP has moods, which a connection keeps
    bool longOnBroker = false; // left out of a quick run
};

// The work that is done once, as often as is wanted.
template <typename Once>
Side Repeat(Once once, std::function<void()> after = {})
{
    return {[once = std::move(once)](std::size_t count)
            {
                for (std::size_t i = 0; i < count; ++i)
                {
                    once();
                }
            },
            {},
            std::move(after)};
}

std::vector<Case> PublishCases();
std::vector<Case> BatchCases();
std::vector<Case> ConsumeCases();
std::vector<Case> NumberCases();
std::vector<Case> MultipartCases(std::size_t bodySize);
std::vector<Case> CallCases();
std::vector<Case> FullFrameCases();

} // namespace Bench
