// Messages that the broker sends back as unroutable, and the callbacks that wait for them.
#include "connection/ConnectionImpl.hpp"

#include "values/Bytes.hpp"
#include "values/PropertiesCodec.hpp"
#include "values/Texts.hpp"

#include <stdexcept>
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

// std::stoull, but with the same texts from every standard library.
std::uint64_t ToNumber(const std::string& text)
{
    try
    {
        return std::stoull(text);
    }
    catch (const std::invalid_argument&)
    {
        throw std::invalid_argument(ownTexts.messageIdIsNoNumber);
    }
    catch (const std::out_of_range&)
    {
        throw std::out_of_range(ownTexts.messageIdOutOfRange);
    }
}

} // namespace

void Connection::ConnectionImpl::HandleReturn(const amqp_basic_return_t& method, Channel& channel)
{
    // Copies: a call that the callback makes gives back the memory of the frame.
    const std::string exchange(ToView(method.exchange));
    const std::string routingKey(ToView(method.routing_key));
    const std::uint16_t replyCode = method.reply_code;
    const ReceivedMessage returned(State(), channel.Token());
    if (!CheckReply(channel, returned.reply))
    {
        return;
    }

    const amqp_basic_properties_t& properties = returned.message.properties;
    const bool numbered = (properties._flags & AMQP_BASIC_MESSAGE_ID_FLAG) != 0;
    const std::uint64_t number = ToNumber(numbered ? std::string(ToView(properties.message_id)) : std::string());
    const auto pending = pendingReturns.find(number);
    if (pending == pendingReturns.end())
    {
        return;
    }

    // A copy, and erased by number: the callback may publish, and may run into this very number again.
    const PublishCallback callback = pending->second;
    callback(MakeReceivedEnvelope(returned.message), AckStatus{exchange, routingKey, replyCode});
    pendingReturns.erase(number);
}

void Connection::ConnectionImpl::SkipContent(std::uint16_t number)
{
    const ReceivedMessage skipped(State(), number);
    if (skipped.reply.reply_type == AMQP_RESPONSE_LIBRARY_EXCEPTION &&
        skipped.reply.library_error == AMQP_STATUS_UNEXPECTED_STATE)
    {
        return; // what came in place of content has been put back, and is handled next
    }
    NoteFailure(number, skipped.reply);
    if (skipped.reply.reply_type == AMQP_RESPONSE_SERVER_EXCEPTION &&
        skipped.reply.reply.id == AMQP_CONNECTION_CLOSE_METHOD)
    {
        AnswerConnectionClose();
    }
}

} // namespace Amqp
