// The cases that are measured. A case makes its two sides when it is measured. The sides own their connections and
// queues, which end with the sides. The main thread runs the cases.
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
    std::optional<double> target; // the ratio to be reached: rabbitmq-c's time divided by the library's
    std::optional<double> targetOnBroker = {};
    std::function<Sides(const Site&)> prepare;
    std::size_t count = 0;                                            // how often one round does the work; 0: find out
    std::size_t mostRounds = std::numeric_limits<std::size_t>::max(); // limits the rounds of slow work
    bool manySettings = false; // new connections for each round: large bodies are faster on some connections
    bool longOnBroker = false; // a quick run omits this case on the broker
};

// Returns a side that calls `once` as often as the round wants.
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
