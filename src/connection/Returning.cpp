// Messages that the broker sends back as unroutable.
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

void Connection::ConnectionImpl::HandleReturn(const Event& event, Channel& channel)
{
    if (event.kind == Event::Kind::Lost)
    {
        CheckReply(channel, LibraryException(session.Failure()));
        return;
    }
    if (event.kind == Event::Kind::Broken)
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

    // A copy, and removed by number: the callback may publish, and may run into this very number again.
    const PublishCallback callback = *pending;
    const auto& method = event.As<amqp_basic_return_t>();
    callback(MakeReceivedEnvelope(properties, event.body),
             AckStatus{ToView(method.exchange), ToView(method.routing_key), method.reply_code});
    returns.Remove(number);
}

} // namespace Amqp
