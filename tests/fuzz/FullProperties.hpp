// The properties of a recorded message: all properties, and a header of nearly every kind. A plain function without
// state.
#pragma once

#include <cstdint>
#include <string>

#include <amqp/Amqp.hpp>

namespace Fuzz
{

// `user` has to be the logged-in user: the broker refuses a message with any other user id.
inline Amqp::MetaData FullProperties(const std::string& user)
{
    Amqp::Table inner;
    inner.Insert("deep", Amqp::Array({std::string("a"), std::string("b")}));
    Amqp::Table headers;
    headers.Insert("table", inner);
    headers.Insert("numbers", Amqp::Array({std::int32_t{1}, std::int32_t{2}}));
    headers.Insert("bool", true);
    headers.Insert("double", 1.5);
    headers.Insert("int8", std::int8_t{-1});
    headers.Insert("int16", std::int16_t{-2});
    headers.Insert("long", std::int64_t{-3});
    headers.Insert("float", 0.5F);
    headers.Insert("text", "text");
    Amqp::MetaData properties;
    properties.Headers(headers);
    properties.ContentType("text/plain");
    properties.ContentEncoding("identity");
    properties.CorrelationId("correlation");
    properties.ReplyTo("reply");
    properties.Expiration("60000");
    properties.MessageId("message");
    properties.Type("type");
    properties.UserId(user);
    properties.ApplicationId("application");
    properties.ClusterId("cluster");
    properties.Priority(5);
    properties.TimeStamp(1'600'000'000);
    properties.DeliveryMode(Amqp::MetaData::NonPersistent);
    return properties;
}

} // namespace Fuzz
