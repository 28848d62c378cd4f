// Takes a port from the system and gives it back.
#include "EphemeralPort.hpp"

#include "Stream.hpp"

namespace Wire
{

std::uint16_t UnusedPort()
{
    return Listener().Port();
}

} // namespace Wire
