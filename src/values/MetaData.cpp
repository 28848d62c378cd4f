#include <amqp/MetaData.hpp>

#include "values/FieldCodec.hpp"
#include "values/RabbitMq.hpp"

#include <algorithm>
#include <thread>

namespace Amqp
{

namespace
{

// One byte more than AMQP can send. So a string that was cut is still too long: publishing the message fails, and no
// truncated string is sent.
constexpr std::size_t longestKept = 256;
constexpr std::uint8_t highestPriority = 9;

} // namespace

MetaData::MetaData() = default;

MetaData::MetaData(const MetaData& other) = default;

MetaData::MetaData(MetaData&& other) = default;

MetaData::~MetaData() = default;

MetaData& MetaData::operator=(const MetaData& other) = default;

MetaData& MetaData::operator=(MetaData&& other) = default;

void MetaData::SetText(std::string& property, std::string_view value, std::uint32_t flag)
{
    property.assign(value.substr(0, longestKept));
    flags |= flag;
}

std::string_view MetaData::ContentType() const
{
    return contentType;
}

void MetaData::ContentType(std::string_view value)
{
    SetText(contentType, value, AMQP_BASIC_CONTENT_TYPE_FLAG);
}

std::string_view MetaData::ContentEncoding() const
{
    return contentEncoding;
}

void MetaData::ContentEncoding(std::string_view value)
{
    SetText(contentEncoding, value, AMQP_BASIC_CONTENT_ENCODING_FLAG);
}

std::string_view MetaData::CorrelationId() const
{
    return correlationId;
}

void MetaData::CorrelationId(std::string_view value)
{
    SetText(correlationId, value, AMQP_BASIC_CORRELATION_ID_FLAG);
}

std::string_view MetaData::ReplyTo() const
{
    return replyTo;
}

void MetaData::ReplyTo(std::string_view value)
{
    SetText(replyTo, value, AMQP_BASIC_REPLY_TO_FLAG);
}

std::string_view MetaData::Expiration() const
{
    return expiration;
}

void MetaData::Expiration(std::string_view value)
{
    SetText(expiration, value, AMQP_BASIC_EXPIRATION_FLAG);
}

std::string_view MetaData::MessageId() const
{
    return messageId;
}

void MetaData::MessageId(std::string_view value)
{
    SetText(messageId, value, AMQP_BASIC_MESSAGE_ID_FLAG);
}

std::string_view MetaData::Type() const
{
    return type;
}

void MetaData::Type(std::string_view value)
{
    SetText(type, value, AMQP_BASIC_TYPE_FLAG);
}

std::string_view MetaData::UserId() const
{
    return userId;
}

void MetaData::UserId(std::string_view value)
{
    SetText(userId, value, AMQP_BASIC_USER_ID_FLAG);
}

std::string_view MetaData::ApplicationId() const
{
    return applicationId;
}

void MetaData::ApplicationId(std::string_view value)
{
    SetText(applicationId, value, AMQP_BASIC_APP_ID_FLAG);
}

std::string_view MetaData::ClusterId() const
{
    return clusterId;
}

void MetaData::ClusterId(std::string_view value)
{
    SetText(clusterId, value, AMQP_BASIC_CLUSTER_ID_FLAG);
}

MetaData::DeliveryType MetaData::DeliveryMode() const
{
    return deliveryMode;
}

void MetaData::DeliveryMode(DeliveryType value)
{
    deliveryMode = value;
    flags |= AMQP_BASIC_DELIVERY_MODE_FLAG;
}

std::uint8_t MetaData::Priority() const
{
    return priority;
}

void MetaData::Priority(std::uint8_t value)
{
    priority = std::min(value, highestPriority);
    flags |= AMQP_BASIC_PRIORITY_FLAG;
}

std::uint64_t MetaData::TimeStamp() const
{
    return timeStamp;
}

void MetaData::TimeStamp(std::uint64_t value)
{
    timeStamp = value;
    flags |= AMQP_BASIC_TIMESTAMP_FLAG;
}

Table& MetaData::Headers()
{
    return headers.Get();
}

const Table& MetaData::Headers() const
{
    return headers.Get();
}

void MetaData::Headers(const Table& value)
{
    Table& stored = headers.Get();
    if (&value != &stored)
    {
        stored = value;
    }
    flags |= AMQP_BASIC_HEADERS_FLAG;
}

void MetaData::Headers(Table&& value)
{
    const Table& unmoved = value;
    Headers(unmoved);
}

MetaData::LazyTable::LazyTable(const LazyTable& other) : decoded(other.Get()) {}

MetaData::LazyTable& MetaData::LazyTable::operator=(const LazyTable& other)
{
    if (this != &other)
    {
        const Table& source = other.Get();
        // Forget the borrowed headers without decoding them: rabbitmq-c may already have reused their memory.
        encoded.store(nullptr, std::memory_order_relaxed);
        decoded = source;
    }
    return *this;
}

Table& MetaData::LazyTable::Get() const
{
    if (encoded.load(std::memory_order_acquire) != nullptr)
    {
        DecodeNow();
    }
    return decoded;
}

void MetaData::LazyTable::Decode(const void* table)
{
    decoded = Table();
    encoded.store(table, std::memory_order_relaxed);
}

// Decodes the borrowed headers. Several threads may read a message: the first thread that asks for the headers decodes
// them, and the other threads wait.
void MetaData::LazyTable::DecodeNow() const
{
    static const char inProgress = 0;
    const void* const table = encoded.exchange(&inProgress, std::memory_order_acquire);
    if (table == &inProgress)
    {
        while (encoded.load(std::memory_order_acquire) == &inProgress)
        {
            std::this_thread::yield();
        }
        Get(); // if decoding threw in the other thread, this thread tries
        return;
    }
    try
    {
        if (table != nullptr)
        {
            DecodeTable(*static_cast<const amqp_table_t*>(table), decoded);
        }
    }
    catch (...)
    {
        decoded = Table(); // DecodeTable would skip the keys that are already there
        encoded.store(table, std::memory_order_release);
        throw;
    }
    encoded.store(nullptr, std::memory_order_release);
}

std::uint32_t MetaData::Flags() const
{
    return flags;
}

} // namespace Amqp
