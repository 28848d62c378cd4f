// What has to come of an answer that does not come whole, or of none.
#include "Expectation.hpp"

#include "ExpectationParts.hpp"
#include "values/RabbitMq.hpp"

namespace Faults
{

Expected ExpectSuccess(const Operation& operation)
{
    return ExpectAt(operation, 0, 'N', "");
}

Expected ExpectLoss(const Operation& operation, std::size_t pieces, int status)
{
    Expected expected = Before(operation, pieces);
    FollowFailure(expected, operation.answer[pieces].awaiting, status);
    const Awaiting awaiting = operation.answer[pieces].awaiting;
    if (awaiting == Awaiting::Goodbye)
    {
        Follow(expected, "", operation.goodbye);
    }
    return expected;
}

Expected ExpectLossBehind(const Operation& operation, int status)
{
    Expected expected = Before(operation, operation.answer.size());
    const Awaiting awaiting = operation.answer.back().awaiting;
    if (ClosesSocket(awaiting)) // the login is not over
    {
        const bool start = awaiting == Awaiting::Start;
        expected = {.seen = ThrownByCall(status),
                    .wire = start ? "0:connection.start-ok" : "0:connection.tune-ok 0:connection.open"};
        if (!start)
        {
            Follow(expected, "", connectionOnly);
        }
        return expected;
    }
    Follow(expected, "", operation.goodbye.find("1:") == 0 ? operation.vainGoodbye : operation.goodbye);
    return expected;
}

Expected ExpectSilence(const Operation& operation, std::size_t pieces)
{
    const Awaiting awaiting = operation.answer[pieces].awaiting;
    Expected expected = Before(operation, pieces);
    if (InLoop(awaiting))
    {
        Follow(expected, "run empty");
    }
    FollowFailure(expected, awaiting, AMQP_STATUS_HEARTBEAT_TIMEOUT);
    return expected;
}

Expected ExpectGone(const Operation& operation, bool reset)
{
    const int status = reset ? AMQP_STATUS_SOCKET_ERROR : AMQP_STATUS_CONNECTION_CLOSED;
    const std::size_t most = reset ? operation.toldWhenReset : operation.toldWhenClosed;
    std::vector<std::string> possible;
    for (std::size_t told = 0; told <= most; ++told)
    {
        Expected expected{.seen = {}, .wire = std::string()};
        for (std::size_t i = 0; i < told; ++i)
        {
            Follow(expected, ToldOfPublish(AMQP_STATUS_SOCKET_ERROR));
        }
        Follow(expected, operation.begun);
        if (told == 0)
        {
            FollowFailure(expected, operation.answer.front().awaiting, status);
        }
        possible.push_back(expected.seen);
    }
    Expected expected{.seen = possible.back(), .wire = {}};
    possible.pop_back();
    expected.otherwise = possible; // the system may learn later than usual that the peer has gone
    return expected;
}

Expected ExpectSilenceToPublish()
{
    return {.seen = ToldOfPublish(AMQP_STATUS_HEARTBEAT_TIMEOUT), .wire = {}};
}

} // namespace Faults
