// A loopback port on which nobody listens, for tests of refused connections. No state, no threads.
#pragma once

#include <cstdint>

namespace Wire
{

// The system may hand the port out again later: use it at once.
std::uint16_t UnusedPort();

} // namespace Wire
