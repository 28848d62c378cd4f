// Messages that the broker sends back as unroutable, and the callbacks that wait for them.
#include "connection/ConnectionImpl.hpp"

#include "values/Bytes.hpp"
#include "values/PropertiesCodec.hpp"

#include <string>

namespace Amqp
{

namespace
{

// A message read from the wire. When reading fails, rabbitmq-c has freed what it had read and leaves the pointers
// standing: only a whole message may be destroyed.
class ReceivedMessage
{
public:
    ReceivedMessage(amqp_connection_state_t state, std::uint16_t channel)
        : reply(amqp_read_message(state, channel, &message, 0))
    {
    }
    ~ReceivedMessage()
    {
        if (reply.reply_type == AMQP_RESPONSE_NORMAL)
        {
            amqp_destroy_message(&message);
        }
    }
    ReceivedMessage(const ReceivedMessage&) = delete;
    ReceivedMessage& operator=(const ReceivedMessage&) = delete;

    amqp_message_t message{};
    const amqp_rpc_reply_t reply;
};

} // namespace

void Connection::ConnectionImpl::HandleReturn(const amqp_basic_return_t& method, Channel& channel)
{
    const ReceivedMessage returned(State(), channel.Token());
    if (!CheckReply(channel, returned.reply))
    {
        return;
    }

    const amqp_basic_properties_t& properties = returned.message.properties;
    const bool numbered = (properties._flags & AMQP_BASIC_MESSAGE_ID_FLAG) != 0;
    const std::uint64_t number = std::stoull(numbered ? std::string(ToView(properties.message_id)) : std::string());
    const auto pending = pendingReturns.find(number);
    if (pending == pendingReturns.end())
    {
        return;
    }

    // A copy, and erased by number: the callback may publish, and may run into this very number again.
    const PublishCallback callback = pending->second;
    callback(MakeReceivedEnvelope(returned.message),
             AckStatus{ToView(method.exchange), ToView(method.routing_key), method.reply_code});
    pendingReturns.erase(number);
}

void Connection::ConnectionImpl::SkipContent(std::uint16_t number)
{
    ReceivedMessage(State(), number);
}

} // namespace Amqp
