// Handles the messages that the broker returns because it could not route them.
#include "connection/ConnectionImpl.hpp"

#include "connection/ErrorTranslation.hpp"
#include "values/Bytes.hpp"
#include "values/PropertiesCodec.hpp"
#include "values/Texts.hpp"

#include <stdexcept>
#include <string>

namespace Amqp
{

namespace
{

// Like std::stoull, but the error texts are the same with every standard library.
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

void Connection::ConnectionImpl::HandleReturn(const Event& event, Channel& channel)
{
    if (event.kind == Event::Kind::Lost) // the stream ended in the middle of the message
    {
        CheckReply(channel, LibraryException(session.Failure()));
        return;
    }
    if (event.kind == Event::Kind::Broken) // another frame arrived in place of the content, perhaps a close
    {
        Event close;
        const bool closed = inbound.TakeClose(close, event.channel);
        CheckReply(channel, closed ? ServerException(close.method) : LibraryException(AMQP_STATUS_UNEXPECTED_STATE));
        return;
    }
    const amqp_basic_properties_t& properties = *event.properties;
    const bool numbered = (properties._flags & AMQP_BASIC_MESSAGE_ID_FLAG) != 0;
    const std::uint64_t number = ToNumber(numbered ? std::string(ToView(properties.message_id)) : std::string());
    const PublishCallback* const pending = returns.Find(number);
    if (pending == nullptr)
    {
        return;
    }

    // The callback may run a step, and the step may handle another return with this number and remove the callback. So
    // call a copy, and remove by number afterwards.
    const PublishCallback callback = *pending;
    const auto& method = event.As<amqp_basic_return_t>();
    callback(MakeReceivedEnvelope(properties, event.body),
             AckStatus{ToView(method.exchange), ToView(method.routing_key), method.reply_code});
    returns.Remove(number);
}

} // namespace Amqp
