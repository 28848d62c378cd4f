#include "Processors.hpp"

#include <sched.h>
#include <vector>

namespace Bench
{

namespace
{

std::vector<unsigned> Allowed()
{
    std::vector<unsigned> allowed;
    cpu_set_t mask;
    CPU_ZERO(&mask);
    sched_getaffinity(0, sizeof mask, &mask);
    for (unsigned number = 0; number < CPU_SETSIZE; ++number)
    {
        if (CPU_ISSET(number, &mask))
        {
            allowed.push_back(number);
        }
    }
    return allowed;
}

} // namespace

void StayOnProcessor(Processor which)
{
    static const std::vector<unsigned> allowed = Allowed(); // asked first: afterwards only one processor is allowed
    if (allowed.size() < 2)
    {
        return;
    }
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(which == Processor::Client ? allowed.front() : allowed.back(), &one);
    sched_setaffinity(0, sizeof one, &one);
}

} // namespace Bench
