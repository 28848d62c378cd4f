// A consumer that this connection started: its handler and the parts of large bodies that wait to be joined. Owned by
// the connection's map; but a handler may unsubscribe itself, so that one that is in use goes when it no longer is.
// Belongs to the connection's thread: a std::shared_ptr would count as if threads shared it, with every delivery.
#pragma once

#include "connection/ReassemblyBuffer.hpp"

#include <amqp/Acknowledge.hpp>

#include <cstddef>
#include <functional>
#include <utility>

namespace Amqp
{

class Subscription
{
public:
    Subscription(DeliveryHandler deliveryHandler, AcknowledgeMode acknowledgeMode)
        : handler(std::move(deliveryHandler)), mode(acknowledgeMode)
    {
    }

    const DeliveryHandler handler;
    const AcknowledgeMode mode;
    ReassemblyBuffer parts;

    /// Keeps it alive meanwhile.
    class Use
    {
    public:
        explicit Use(Subscription& subscription) : used(subscription) { ++used.users; }
        ~Use()
        {
            if (--used.users == 0 && used.forgotten)
            {
                delete &used;
            }
        }
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;

    private:
        Subscription& used;
    };

    struct Forget
    {
        void operator()(Subscription* subscription) const
        {
            subscription->forgotten = true;
            subscription->parts = {};
            if (subscription->users == 0)
            {
                delete subscription;
            }
        }
    };

private:
    ~Subscription() = default;

    std::size_t users = 0; // steps of the run loop, one inside the other
    bool forgotten = false;
};

} // namespace Amqp
