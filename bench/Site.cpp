#include "Site.hpp"

#include <cstdlib>
#include <stdexcept>

namespace Bench
{

namespace
{

std::string Setting(const char* name)
{
    const char* const value = std::getenv(name);
    if (value == nullptr || *value == '\0')
    {
        throw std::runtime_error(std::string(name) + " is not set: scripts/bench starts a broker and sets it");
    }
    return value;
}

} // namespace

Site BrokerOfTheEnvironment()
{
    return {Setting("AMQP_HOST"),  static_cast<unsigned short>(std::stoi(Setting("AMQP_PORT"))),
            Setting("AMQP_USER"),  Setting("AMQP_PASSWORD"),
            Setting("AMQP_VHOST"), true};
}

Client::Client(const Site& site, int frameMax)
    : connection(std::make_shared<Amqp::Connection>(site.host, site.port, site.user, site.password, site.virtualHost,
                                                    Amqp::Table(), longestWait, std::chrono::seconds(0), frameMax)),
      channel(NewChannel())
{
}

std::shared_ptr<Amqp::Channel> Client::NewChannel() const
{
    return std::make_shared<Amqp::Channel>(connection, &Amqp::Channel::OnErrorThrow);
}

void Client::Sync() const
{
    channel->DeclareExchange("amq.fanout");
}

} // namespace Bench
