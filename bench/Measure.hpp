// Times two ways of doing the same work, in turn: the machine's mood changes from one second to the next, and what one
// way suffers the other one suffers too.
#pragma once

#include <cstddef>
#include <functional>

namespace Bench
{

// One way of doing a piece of work `count` times. What is to be done before and after is not timed.
struct Side
{
    std::function<void(std::size_t count)> run;
    std::function<void(std::size_t count)> before{};
    std::function<void()> after{};
};

// Two ways, and what they share.
struct Sides
{
    Side library;
    Side bare; // the same work on rabbitmq-c alone
};

struct Effort
{
    std::size_t settings; // how often both sides are made anew
    std::size_t rounds;   // with each
    double seconds;       // about, for one side in one round
};

struct Comparison
{
    double library = 0; // seconds for one piece of work, median over all rounds
    double bare = 0;
    double ratio = 0; // how many times as fast the library is: the median of the ratios of the rounds
};

// Each round runs both sides, the one that begins alternating. `count` is how much one round does; 0 to find out how
// much takes the time that the effort allows.
Comparison Compare(const std::function<Sides()>& prepare, const Effort& effort, std::size_t count = 0);

} // namespace Bench
