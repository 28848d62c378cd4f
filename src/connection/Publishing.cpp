// Publishes one message.
#include "connection/ConnectionImpl.hpp"

#include "values/Bytes.hpp"
#include "values/PropertiesCodec.hpp"

#include <array>
#include <charconv>
#include <limits>
#include <utility>

namespace Amqp
{

void Connection::ConnectionImpl::Publish(Channel& channel, std::string_view exchange, std::string_view routingKey,
                                         const Envelope& envelope, PublishCallback&& callback)
{
    if (session.Failure() != AMQP_STATUS_OK)
    {
        CheckStatus(session.Failure(), &channel);
        return;
    }
    RequireNotClosed(channel);
    EncodedProperties properties = EncodeProperties(envelope);
    std::array<char, std::numeric_limits<std::uint64_t>::digits10 + 1> messageId;
    if (callback)
    {
        const char* const end = std::to_chars(messageId.begin(), messageId.end(), returns.NextNumber()).ptr;
        properties.value.message_id = ToBytes({messageId.data(), static_cast<std::size_t>(end - messageId.data())});
        properties.value._flags |= AMQP_BASIC_MESSAGE_ID_FLAG;
    }

    int status = IsTooLong(exchange) || IsTooLong(routingKey)
                     ? static_cast<int>(AMQP_STATUS_BAD_AMQP_DATA)
                     : CheckEncodable(properties.value, session.FrameMax() - frameOverhead - contentHeaderFixed);
    if (status == AMQP_STATUS_OK)
    {
        // If the body is null, ViewBody returns an empty view, whatever the size.
        const std::string_view body = envelope.ViewBody(0, envelope.Size());
        status = writer.Message(channel.Token(), {exchange, routingKey, callback ? 1 : 0, properties.value, body});
    }
    if (CheckStatus(status, &channel) && callback)
    {
        returns.Add(std::move(callback));
    }
}

void Connection::Publish(Channel& channel, std::string_view exchange, std::string_view routingKey,
                         const Envelope& envelope, PublishCallback&& callback) const
{
    impl->Publish(channel, exchange, routingKey, envelope, std::move(callback));
}

} // namespace Amqp
