#include "Site.hpp"

#include <chrono>

#include "support/BareClient.hpp"

namespace Bench
{

Client::Client(const Site& site, int frameMax)
    : connection(std::make_shared<Amqp::Connection>(site.address.host, site.address.port, site.address.user,
                                                    site.address.password, site.address.virtualHost, Amqp::Table(),
                                                    BareClient::longestWait, std::chrono::seconds(0), frameMax)),
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
