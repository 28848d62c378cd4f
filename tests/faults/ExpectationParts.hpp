// Out of what expectations are made. Pure functions.
#pragma once

#include <cstddef>
#include <string>

#include "Case.hpp"

namespace Faults
{

inline const std::string connectionOnly = "0:connection.close";
inline const std::string channelAndConnection = "1:channel.close 0:connection.close"; // as long as nothing is lost

inline bool InLoop(Awaiting awaiting)
{
    return awaiting >= Awaiting::Event;
}

// A returned message is read as the answer to a call is.
inline bool InReturn(Awaiting awaiting)
{
    return awaiting == Awaiting::ReturnedContent || awaiting == Awaiting::ReturnedBody;
}

inline bool InLogin(Awaiting awaiting)
{
    return awaiting <= Awaiting::Open;
}

// rabbitmq-c closes the socket itself when these two steps fail.
inline bool ClosesSocket(Awaiting awaiting)
{
    return awaiting == Awaiting::Start || awaiting == Awaiting::Tune;
}

void Follow(Expected& expected, const std::string& seen, const std::string& wire = {});

// The frames of the answer from one up to, and without, another.
void FollowPieces(Expected& expected, const Operation& operation, std::size_t from, std::size_t to);

// What has come of the answer before that frame.
Expected Before(const Operation& operation, std::size_t piece);

// What is thrown there for a failure that rabbitmq-c reports; nothing in a destructor, where nobody is told.
void FollowFailure(Expected& expected, Awaiting awaiting, int status);

// How a call that awaits a reply, and how the run loop, throws a failure; and how a channel is told that its publish
// has failed.
std::string ThrownByCall(int status);
std::string ThrownByRun(int status);
std::string ToldOfPublish(int status);

} // namespace Faults
