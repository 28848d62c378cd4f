// The one clock of waits and heartbeats: it never goes back.
#pragma once

#include <chrono>

namespace Amqp
{

using Clock = std::chrono::steady_clock;

} // namespace Amqp
