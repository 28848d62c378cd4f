// Two faults of rabbitmq-c 0.11 that its user cannot prevent, kept out of the way so that others are found.
//
// It takes a content header of another class than basic as that class has it, in four octets, and then copies basic
// properties from whatever lies behind: a crash. Such headers are given the class basic before the client sees them.
//
// When the memory for a body is refused it forgets the copied properties: a leak, once, since the connection is of no
// use then. Inputs that announce such a body are run with the leak detection off.
#pragma once

#include <cstdint>
#include <string>

namespace Fuzz
{

std::string WithBasicHeaders(std::string octets);

// While there is one, what is allocated is not looked for among the leaks if the octets announce too large a body.
class ExpectedLeak
{
public:
    explicit ExpectedLeak(const std::string& octets);
    ~ExpectedLeak();
    ExpectedLeak(const ExpectedLeak&) = delete;
    ExpectedLeak& operator=(const ExpectedLeak&) = delete;

private:
    bool expected;
};

} // namespace Fuzz
