// Plays one case: a peer on a thread of its own, the application on the caller's.
#pragma once

#include <string>

#include "Case.hpp"

namespace Faults
{

// What went wrong, in one line; empty when all went as expected.
std::string Run(const Case& played);

} // namespace Faults
