// The clock of all waits and heartbeats. This clock is never set back.
#pragma once

#include <chrono>

namespace Amqp
{

using Clock = std::chrono::steady_clock;

} // namespace Amqp
