// Times two ways of doing the same work, in turn. The speed of a machine changes from one second to the next; in turn,
// both ways suffer from this equally. Everything runs on the calling thread.
#pragma once

#include <cstddef>
#include <functional>

namespace Bench
{

// One way of doing a piece of work `count` times. `before` and `after` are not timed.
struct Side
{
    std::function<void(std::size_t count)> run;
    std::function<void(std::size_t count)> before{};
    std::function<void()> after{};
};

// The two ways.
struct Sides
{
    Side library;
    Side bare; // the same work on rabbitmq-c alone
};

struct Effort
{
    std::size_t settings; // how often both sides are made anew
    std::size_t rounds;   // how many rounds both sides run each time
    double seconds;       // how long one side takes in one round, about
};

struct Comparison
{
    double library = 0; // seconds for one piece of work: the median of all rounds
    double bare = 0;
    double ratio = 0; // rabbitmq-c's time divided by the library's: the median of all rounds
};

// Compares both sides. Each round runs both, and they take turns at the first place. One round does the work `count`
// times. With a `count` of 0, Compare finds the count that takes the seconds of the effort.
Comparison Compare(const std::function<Sides()>& prepare, const Effort& effort, std::size_t count = 0);

} // namespace Bench
