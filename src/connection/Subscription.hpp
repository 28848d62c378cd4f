// A consumer that this connection started: its handler and the parts of large bodies that wait to be joined. Shared
// by the connection's map and by the step that is delivering to it, so that a handler may unsubscribe itself.
#pragma once

#include "connection/ReassemblyBuffer.hpp"

#include <amqp/Acknowledge.hpp>

namespace Amqp
{

struct Subscription
{
    DeliveryHandler handler;
    AcknowledgeMode mode;
    ReassemblyBuffer parts;
};

} // namespace Amqp
