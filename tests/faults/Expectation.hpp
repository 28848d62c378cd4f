// What has to come of each misbehaviour. Pure functions.
#pragma once

#include <cstddef>
#include <string>

#include "Case.hpp"
#include "Fault.hpp"

namespace Faults
{

// The letter of the table for an intrusion at a frame of the answer; '.' when it is not played there.
char Letter(const std::string& intrusion, const Operation& operation, std::size_t piece);

// What a letter means when the intrusion comes before, or in place of, that frame.
Expected ExpectAt(const Operation& operation, std::size_t piece, char letter, const std::string& octets);

// The whole answer has come, and nothing was wrong with it.
Expected ExpectSuccess(const Operation& operation);

// The stream ends or breaks with this status after so many whole frames, in the middle of the next one perhaps.
Expected ExpectLoss(const Operation& operation, std::size_t pieces, int status);

// The stream ends or breaks with this status right behind the answer.
Expected ExpectLossBehind(const Operation& operation, int status);

// The peer falls silent after so many whole frames, until the heartbeats end the connection.
Expected ExpectSilence(const Operation& operation, std::size_t pieces);

// The peer had gone before the application began.
Expected ExpectGone(const Operation& operation, bool reset);

// The peer falls silent, and the application publishes until its channel is told.
Expected ExpectSilenceToPublish();

} // namespace Faults
