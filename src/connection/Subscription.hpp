// A consumer that this connection started: its handler and the parts of large bodies that wait to be joined. Owned by
// the connection's map; but a handler may unsubscribe itself, so that one that is in use goes when it no longer is.
// Belongs to the connection's thread: a std::shared_ptr would count as if threads shared it, with every delivery.
#pragma once

#include "connection/ReassemblyBuffer.hpp"

#include <amqp/Acknowledge.hpp>

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace Amqp
{

class Subscription
{
public:
    Subscription(std::string_view consumerTag, DeliveryHandler deliveryHandler, AcknowledgeMode acknowledgeMode)
        : tag(consumerTag), handler(std::move(deliveryHandler)), mode(acknowledgeMode)
    {
    }

    const std::string tag;
    const DeliveryHandler handler;
    ReassemblyBuffer parts;
    const AcknowledgeMode mode;

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

    std::uint32_t users = 0; // steps of the run loop, one inside the other
    bool forgotten = false;
};

} // namespace Amqp
