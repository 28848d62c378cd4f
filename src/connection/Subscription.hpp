// A consumer that this connection started: its handler, and the parts of large bodies that wait to be joined. Consumers
// owns the subscription. A handler may unsubscribe itself while it runs, so a subscription in use is destroyed when its
// last use ends. Belongs to the connection's thread, so a plain counter of uses suffices: a std::shared_ptr would count
// atomically for every delivery.
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

    /// Keeps the subscription alive while its handler runs. The last Use destroys a forgotten subscription.
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

    /// Destroys the subscription, or leaves that to its last Use. The deleter of the owner.
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

    std::uint32_t users = 0; // nested steps of the run loop that handle its deliveries
    bool forgotten = false;
};

} // namespace Amqp
