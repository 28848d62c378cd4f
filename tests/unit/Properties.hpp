// The properties of a message as a list, for tests that go through all of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <amqp/MetaData.hpp>

#include "Fields.hpp"

struct TextProperty
{
    const char* name;
    std::uint32_t flag;
    std::string_view (Amqp::MetaData::*get)() const;
    void (Amqp::MetaData::*set)(std::string_view);
    amqp_bytes_t amqp_basic_properties_t::*raw;
};

inline constexpr TextProperty textProperties[] = {
    {"content type", 0x8000, &Amqp::MetaData::ContentType, &Amqp::MetaData::ContentType,
     &amqp_basic_properties_t::content_type},
    {"content encoding", 0x4000, &Amqp::MetaData::ContentEncoding, &Amqp::MetaData::ContentEncoding,
     &amqp_basic_properties_t::content_encoding},
    {"correlation id", 0x0400, &Amqp::MetaData::CorrelationId, &Amqp::MetaData::CorrelationId,
     &amqp_basic_properties_t::correlation_id},
    {"reply to", 0x0200, &Amqp::MetaData::ReplyTo, &Amqp::MetaData::ReplyTo, &amqp_basic_properties_t::reply_to},
    {"expiration", 0x0100, &Amqp::MetaData::Expiration, &Amqp::MetaData::Expiration,
     &amqp_basic_properties_t::expiration},
    {"message id", 0x0080, &Amqp::MetaData::MessageId, &Amqp::MetaData::MessageId,
     &amqp_basic_properties_t::message_id},
    {"type", 0x0020, &Amqp::MetaData::Type, &Amqp::MetaData::Type, &amqp_basic_properties_t::type},
    {"user id", 0x0010, &Amqp::MetaData::UserId, &Amqp::MetaData::UserId, &amqp_basic_properties_t::user_id},
    {"application id", 0x0008, &Amqp::MetaData::ApplicationId, &Amqp::MetaData::ApplicationId,
     &amqp_basic_properties_t::app_id},
    {"cluster id", 0x0004, &Amqp::MetaData::ClusterId, &Amqp::MetaData::ClusterId,
     &amqp_basic_properties_t::cluster_id}};

// 300 bytes, no two neighbours the same.
inline std::string LongText()
{
    std::string text;
    while (text.size() < 300)
    {
        text += static_cast<char>('a' + text.size() % 26);
    }
    return text;
}

// Every property set, each to a value of its own.
inline Amqp::MetaData FullMetaData()
{
    Amqp::MetaData metaData;
    for (const TextProperty& property : textProperties)
    {
        (metaData.*property.set)(std::string("the ") + property.name);
    }
    metaData.DeliveryMode(Amqp::MetaData::NonPersistent);
    metaData.Priority(7);
    metaData.TimeStamp(0x0123456789ABCDEF);
    Amqp::Table headers;
    headers.Insert("key", "value");
    metaData.Headers(headers);
    return metaData;
}

inline std::string Describe(const Amqp::MetaData& metaData)
{
    std::string text = "flags " + std::to_string(metaData.Flags());
    for (const TextProperty& property : textProperties)
    {
        text += std::string("; ") + property.name + " \"" + std::string((metaData.*property.get)()) + "\"";
    }
    return text + "; mode " + std::to_string(metaData.DeliveryMode()) + "; priority " +
           std::to_string(metaData.Priority()) + "; time " + std::to_string(metaData.TimeStamp()) + "; headers " +
           Describe(metaData.Headers());
}
