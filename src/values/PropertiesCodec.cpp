#include "values/PropertiesCodec.hpp"

#include "values/Bytes.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>

namespace Amqp
{

namespace
{

struct TextProperty
{
    amqp_flags_t flag;
    amqp_bytes_t amqp_basic_properties_t::*text;
};

constexpr std::array textProperties = {
    TextProperty{AMQP_BASIC_CONTENT_TYPE_FLAG, &amqp_basic_properties_t::content_type},
    TextProperty{AMQP_BASIC_CONTENT_ENCODING_FLAG, &amqp_basic_properties_t::content_encoding},
    TextProperty{AMQP_BASIC_CORRELATION_ID_FLAG, &amqp_basic_properties_t::correlation_id},
    TextProperty{AMQP_BASIC_REPLY_TO_FLAG, &amqp_basic_properties_t::reply_to},
    TextProperty{AMQP_BASIC_EXPIRATION_FLAG, &amqp_basic_properties_t::expiration},
    TextProperty{AMQP_BASIC_MESSAGE_ID_FLAG, &amqp_basic_properties_t::message_id},
    TextProperty{AMQP_BASIC_TYPE_FLAG, &amqp_basic_properties_t::type},
    TextProperty{AMQP_BASIC_USER_ID_FLAG, &amqp_basic_properties_t::user_id},
    TextProperty{AMQP_BASIC_APP_ID_FLAG, &amqp_basic_properties_t::app_id},
    TextProperty{AMQP_BASIC_CLUSTER_ID_FLAG, &amqp_basic_properties_t::cluster_id}};

constexpr std::size_t longestText = 255;
constexpr std::size_t flagsSize = 2;
constexpr std::size_t numbersSize = sizeof(std::uint8_t) + sizeof(std::uint8_t) + sizeof(std::uint64_t);
constexpr std::size_t mostBesideHeaders = flagsSize + textProperties.size() * (1 + longestText) + numbersSize;

constexpr amqp_flags_t anyText = []
{
    amqp_flags_t flags = 0;
    for (const TextProperty& property : textProperties)
    {
        flags |= property.flag;
    }
    return flags;
}();

bool HasLongText(const amqp_basic_properties_t& properties)
{
    if ((properties._flags & anyText) == 0)
    {
        return false;
    }
    std::size_t lengths = 0; // OR of all lengths: more than 255 if and only if some length is; needs no branch
    for (const TextProperty& property : textProperties)
    {
        lengths |= (properties.*property.text).len;
    }
    return lengths > longestText && std::any_of(textProperties.begin(), textProperties.end(),
                                                [&](const TextProperty& property) {
                                                    return (properties._flags & property.flag) != 0 &&
                                                           (properties.*property.text).len > longestText;
                                                });
}

std::size_t SizeBesideHeaders(const amqp_basic_properties_t& properties)
{
    std::size_t size = flagsSize;
    for (const TextProperty& property : textProperties)
    {
        size += (properties._flags & property.flag) != 0 ? 1 + (properties.*property.text).len : 0;
    }
    size += (properties._flags & AMQP_BASIC_DELIVERY_MODE_FLAG) != 0 ? sizeof(properties.delivery_mode) : 0;
    size += (properties._flags & AMQP_BASIC_PRIORITY_FLAG) != 0 ? sizeof(properties.priority) : 0;
    size += (properties._flags & AMQP_BASIC_TIMESTAMP_FLAG) != 0 ? sizeof(properties.timestamp) : 0;
    return size;
}

} // namespace

// Reads and writes the private members of MetaData for the functions below.
class PropertiesCodec
{
public:
    static amqp_basic_properties_t Encode(const MetaData& metaData, const amqp_table_t& headers)
    {
        if (metaData.flags == 0 && headers.num_entries == 0)
        {
            return {};
        }
        return {._flags = metaData.flags | (headers.num_entries != 0 ? AMQP_BASIC_HEADERS_FLAG : 0),
                .content_type = ToBytes(metaData.contentType),
                .content_encoding = ToBytes(metaData.contentEncoding),
                .headers = headers,
                .delivery_mode = metaData.deliveryMode,
                .priority = metaData.priority,
                .correlation_id = ToBytes(metaData.correlationId),
                .reply_to = ToBytes(metaData.replyTo),
                .expiration = ToBytes(metaData.expiration),
                .message_id = ToBytes(metaData.messageId),
                .timestamp = metaData.timeStamp,
                .type = ToBytes(metaData.type),
                .user_id = ToBytes(metaData.userId),
                .app_id = ToBytes(metaData.applicationId),
                .cluster_id = ToBytes(metaData.clusterId)};
    }

    // Resets all properties. The strings keep their memory for the next message.
    static void Clear(MetaData& metaData)
    {
        if ((metaData.flags & anyText) != 0)
        {
            for (std::string* const text :
                 {&metaData.contentType, &metaData.contentEncoding, &metaData.correlationId, &metaData.replyTo,
                  &metaData.expiration, &metaData.messageId, &metaData.type, &metaData.userId, &metaData.applicationId,
                  &metaData.clusterId})
            {
                text->clear();
            }
        }
        if ((metaData.flags & AMQP_BASIC_HEADERS_FLAG) != 0)
        {
            metaData.headers = {};
        }
        metaData.timeStamp = 0;
        metaData.priority = 0;
        metaData.deliveryMode = MetaData::DeliveryType(0);
        metaData.flags = 0;
    }

    // Lends rabbitmq-c's headers to the message, which decodes them only when somebody asks for them.
    static void Lend(const amqp_table_t& headers, MetaData& metaData)
    {
        metaData.headers.Decode(&headers);
        metaData.flags |= AMQP_BASIC_HEADERS_FLAG;
    }
};

EncodedProperties::EncodedProperties(const MetaData& metaData)
    : headers(metaData.Headers()), value(PropertiesCodec::Encode(metaData, headers.Get()))
{
}

EncodedProperties EncodeProperties(const MetaData& metaData)
{
    return EncodedProperties(metaData);
}

int CheckEncodable(const amqp_basic_properties_t& properties, std::size_t room)
{
    if (HasLongText(properties))
    {
        return AMQP_STATUS_BAD_AMQP_DATA;
    }
    if ((properties._flags & AMQP_BASIC_HEADERS_FLAG) == 0)
    {
        return AMQP_STATUS_OK; // the other properties fit even the smallest frame
    }
    if (const auto atMost = WireSizeAtMost(properties.headers); atMost && *atMost + mostBesideHeaders <= room)
    {
        return AMQP_STATUS_OK;
    }
    const auto headers = WireSize(properties.headers);
    if (!headers)
    {
        return AMQP_STATUS_BAD_AMQP_DATA;
    }
    return *headers + SizeBesideHeaders(properties) <= room ? AMQP_STATUS_OK : AMQP_STATUS_TABLE_TOO_BIG;
}

void DecodeProperties(const amqp_basic_properties_t& properties, MetaData& metaData)
{
    if (properties._flags == 0)
    {
        return;
    }
    const auto present = [&properties](amqp_flags_t flag) { return (properties._flags & flag) != 0; };

    if (present(AMQP_BASIC_APP_ID_FLAG))
    {
        metaData.ApplicationId(ToView(properties.app_id));
    }
    if (present(AMQP_BASIC_CLUSTER_ID_FLAG))
    {
        metaData.ClusterId(ToView(properties.cluster_id));
    }
    if (present(AMQP_BASIC_CONTENT_ENCODING_FLAG))
    {
        metaData.ContentEncoding(ToView(properties.content_encoding));
    }
    if (present(AMQP_BASIC_CONTENT_TYPE_FLAG))
    {
        metaData.ContentType(ToView(properties.content_type));
    }
    if (present(AMQP_BASIC_CORRELATION_ID_FLAG))
    {
        metaData.CorrelationId(ToView(properties.correlation_id));
    }
    if (present(AMQP_BASIC_DELIVERY_MODE_FLAG))
    {
        metaData.DeliveryMode(MetaData::DeliveryType(properties.delivery_mode));
    }
    if (present(AMQP_BASIC_EXPIRATION_FLAG))
    {
        metaData.Expiration(ToView(properties.expiration));
    }
    if (present(AMQP_BASIC_MESSAGE_ID_FLAG))
    {
        metaData.MessageId(ToView(properties.message_id));
    }
    if (present(AMQP_BASIC_PRIORITY_FLAG))
    {
        metaData.Priority(properties.priority);
    }
    if (present(AMQP_BASIC_REPLY_TO_FLAG))
    {
        metaData.ReplyTo(ToView(properties.reply_to));
    }
    if (present(AMQP_BASIC_TIMESTAMP_FLAG))
    {
        metaData.TimeStamp(properties.timestamp);
    }
    if (present(AMQP_BASIC_TYPE_FLAG))
    {
        metaData.Type(ToView(properties.type));
    }
    if (present(AMQP_BASIC_USER_ID_FLAG))
    {
        metaData.UserId(ToView(properties.user_id));
    }
    if (present(AMQP_BASIC_HEADERS_FLAG))
    {
        PropertiesCodec::Lend(properties.headers, metaData);
    }
}

Envelope MakeReceivedEnvelope(const amqp_basic_properties_t& properties, std::string_view body)
{
    Envelope envelope;
    MakeReceivedEnvelope(properties, body, envelope);
    return envelope;
}

void MakeReceivedEnvelope(const amqp_basic_properties_t& properties, std::string_view body, Envelope& place)
{
    PropertiesCodec::Clear(place);
    place.SetBody(body.data(), body.size());
    place.DeliveryMode(MetaData::Persistent);
    DecodeProperties(properties, place);
}

} // namespace Amqp
