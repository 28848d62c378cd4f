#include "Broker.hpp"

#include <amqp/Guid.hpp>

#include <cstdlib>
#include <limits>
#include <stdexcept>

namespace
{

constexpr std::chrono::seconds heartbeat(30);

const char* Setting(const char* name)
{
    const char* const value = std::getenv(name);
    if (value == nullptr || *value == '\0')
    {
        throw std::runtime_error(std::string(name) + " is not set: scripts/soak starts a broker and sets it");
    }
    return value;
}

unsigned short Port()
{
    const auto port = ParseNumber(Setting("AMQP_PORT"));
    if (!port || *port == 0 || *port > std::numeric_limits<unsigned short>::max())
    {
        throw std::runtime_error("AMQP_PORT is not a port");
    }
    return static_cast<unsigned short>(*port);
}

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
    return std::make_shared<Amqp::Connection>(Setting("AMQP_HOST"), Port(), Setting("AMQP_USER"),
                                              Setting("AMQP_PASSWORD"), Setting("AMQP_VHOST"), properties, wait,
                                              heartbeat, frameMax);
}
