// A delivery as rabbitmq-c read it, shared by the step of the run loop that received it and by a reassembly buffer
// in which it waits for its siblings. The last one to let go frees it.
#pragma once

#include "values/RabbitMq.hpp"

#include <memory>

namespace Amqp
{

struct EnvelopeDeleter
{
    void operator()(amqp_envelope_t* envelope) const
    {
        if (envelope != nullptr)
        {
            amqp_destroy_envelope(envelope);
            delete envelope;
        }
    }
};

using ReceivedEnvelope = std::shared_ptr<amqp_envelope_t>;

} // namespace Amqp
