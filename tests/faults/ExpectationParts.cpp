#include "ExpectationParts.hpp"

#include "values/RabbitMq.hpp"

namespace Faults
{

using Amqp::ErrorCode;

void Follow(Expected& expected, const std::string& seen, const std::string& wire)
{
    Append(expected.seen, seen);
    Append(*expected.wire, wire, " ");
}

// The frames of the answer from one up to, and without, another.
void FollowPieces(Expected& expected, const Operation& operation, std::size_t from, std::size_t to)
{
    for (std::size_t i = from; i < to; ++i)
    {
        Follow(expected, operation.answer[i].seen, operation.answer[i].wire);
    }
}

// What has come of the answer before that frame.
Expected Before(const Operation& operation, std::size_t piece)
{
    Expected expected{.seen = operation.begun, .wire = std::string()};
    FollowPieces(expected, operation, 0, piece);
    return expected;
}

void FollowFailure(Expected& expected, Awaiting awaiting, int status)
{
    if (awaiting != Awaiting::Goodbye) // where nobody is told
    {
        Follow(expected, InLoop(awaiting) && !InReturn(awaiting) ? ThrownByRun(status) : ThrownByCall(status));
    }
}

std::string ThrownByCall(int status)
{
    return "throws " + Describe(ErrorCode::Library, 1, amqp_error_string2(status));
}

std::string ThrownByRun(int status)
{
    return "throws " + Describe(ErrorCode::Library, static_cast<unsigned>(-status), amqp_error_string2(status));
}

std::string ToldOfPublish(int status)
{
    return "told " + Describe(ErrorCode::Library, static_cast<unsigned>(-status), amqp_error_string2(status));
}

} // namespace Faults
