#include "Broker.hpp"

#include <amqp/Guid.hpp>

#include "support/BrokerAddress.hpp"

namespace
{

constexpr std::chrono::seconds heartbeat(30);

} // namespace

Names::Names()
{
    const std::string prefix = "soak." + Amqp::Guid::ToString(Amqp::Guid::New());
    automatic = prefix + ".auto";
    explicitly = prefix + ".explicit";
    series = prefix + ".series";
    nowhere = prefix + ".nowhere";
}

const std::string& Names::Of(Queue queue) const
{
    switch (queue)
    {
    case Queue::Auto:
        return automatic;
    case Queue::Explicit:
        return explicitly;
    case Queue::Series:
        return series;
    case Queue::Nowhere:
        break;
    }
    return nowhere;
}

std::shared_ptr<Amqp::Connection> Connect(std::string_view role, std::chrono::microseconds wait, int frameMax)
{
    Amqp::Table properties;
    properties.Insert("connection_name", "soak " + std::string(role));
    const BrokerAddress broker = BrokerOfTheEnvironment();
    return std::make_shared<Amqp::Connection>(broker.host, broker.port, broker.user, broker.password,
                                              broker.virtualHost, properties, wait, heartbeat, frameMax);
}
