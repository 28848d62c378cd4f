// A delivery as rabbitmq-c read it, shared by the step of the run loop that received it and by a reassembly buffer
// in which it waits for its siblings. The last one to let go frees it.
#pragma once

#include "values/RabbitMq.hpp"

#include <cstring>
#include <memory>
#include <utility>

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

/// An envelope for one step of the run loop. Afterwards it is kept for the next one, emptied, unless somebody else has
/// kept it; a step inside a step finds none and makes its own.
class EnvelopeLoan
{
public:
    explicit EnvelopeLoan(ReceivedEnvelope& place) : spare(place), lent(std::move(place))
    {
        if (!lent)
        {
            lent = ReceivedEnvelope(new amqp_envelope_t{}, EnvelopeDeleter());
        }
    }
    ~EnvelopeLoan()
    {
        if (lent.use_count() == 1)
        {
            amqp_destroy_envelope(lent.get());
            std::memset(lent.get(), 0, sizeof *lent); // what was freed must not be freed again
            spare = std::move(lent);
        }
    }
    EnvelopeLoan(const EnvelopeLoan&) = delete;
    EnvelopeLoan& operator=(const EnvelopeLoan&) = delete;

    const ReceivedEnvelope& Envelope() const { return lent; }

private:
    ReceivedEnvelope& spare;
    ReceivedEnvelope lent;
};

} // namespace Amqp
