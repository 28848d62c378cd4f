/// @file
/// The basic properties of a message. A plain value that owns its texts and headers; it may be read from several
/// threads as long as none changes it.
#pragma once

#include <amqp/Export.hpp>
#include <amqp/Table.hpp>

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

namespace Amqp
{

/// The fourteen AMQP basic properties of a message, and which of them are set.
///
/// A getter and its setter share a name. Every setter marks its property as set, whatever the value; nothing
/// unsets a property. Only the properties that are set travel with the message.
///
/// A text setter keeps at most the first 256 bytes. AMQP sends texts of at most 255 bytes: publishing a message
/// with a longer one fails as Channel::Publish describes, with nothing sent.
///
/// A getter gives what is stored, set or not; the views of the text getters are valid until that property is set
/// again, or the object is assigned to or destroyed.
class AMQP_EXPORT MetaData
{
public:
    /// The AMQP delivery mode.
    enum DeliveryType : std::uint8_t
    {
        NonPersistent = 1, ///< Kept in memory; gone when the broker restarts.
        Persistent = 2     ///< Survives a restart of the broker when its queue is durable.
    };

    /// No property set; texts and headers empty, numbers 0.
    MetaData();
    /// Copies every property, headers included.
    MetaData(const MetaData& other);
    /// Moves the texts and copies the headers.
    MetaData(MetaData&& other);
    virtual ~MetaData();
    /// Copies every property, headers included; nothing of the old ones stays.
    MetaData& operator=(const MetaData& other);
    /// Moves the texts and copies the headers.
    MetaData& operator=(MetaData&& other);

    /// MIME type of the body.
    [[nodiscard]] std::string_view ContentType() const;
    void ContentType(std::string_view value); ///< Sets it: 0x8000 in Flags().

    /// MIME encoding of the body.
    [[nodiscard]] std::string_view ContentEncoding() const;
    void ContentEncoding(std::string_view value); ///< Sets it: 0x4000 in Flags().

    /// Ties a reply to its request.
    [[nodiscard]] std::string_view CorrelationId() const;
    void CorrelationId(std::string_view value); ///< Sets it: 0x0400 in Flags().

    /// The queue that wants the reply.
    [[nodiscard]] std::string_view ReplyTo() const;
    void ReplyTo(std::string_view value); ///< Sets it: 0x0200 in Flags().

    /// Time to live in the queue: milliseconds, in decimal text.
    [[nodiscard]] std::string_view Expiration() const;
    void Expiration(std::string_view value); ///< Sets it: 0x0100 in Flags().

    /// The application's message identifier. A message that is published with a callback travels with a number of
    /// the library's own in its place.
    [[nodiscard]] std::string_view MessageId() const;
    void MessageId(std::string_view value); ///< Sets it: 0x0080 in Flags().

    /// The application's message type.
    [[nodiscard]] std::string_view Type() const;
    void Type(std::string_view value); ///< Sets it: 0x0020 in Flags().

    /// The publishing user; RabbitMQ refuses a message (reply code 406) whose user is not the connection's.
    [[nodiscard]] std::string_view UserId() const;
    void UserId(std::string_view value); ///< Sets it: 0x0010 in Flags().

    /// The publishing application.
    [[nodiscard]] std::string_view ApplicationId() const;
    void ApplicationId(std::string_view value); ///< Sets it: 0x0008 in Flags().

    /// Reserved by AMQP 0-9-1; passed through.
    [[nodiscard]] std::string_view ClusterId() const;
    void ClusterId(std::string_view value); ///< Sets it: 0x0004 in Flags().

    /// Whether the message survives a restart of the broker. Any octet is passed through.
    [[nodiscard]] DeliveryType DeliveryMode() const;
    void DeliveryMode(DeliveryType value); ///< Sets it: 0x1000 in Flags().

    /// Priority, 0 to 9; a larger value is stored as 9.
    [[nodiscard]] std::uint8_t Priority() const;
    void Priority(std::uint8_t value); ///< Sets it: 0x0800 in Flags().

    /// Time stamp: by convention seconds since 1970-01-01 UTC.
    [[nodiscard]] std::uint64_t TimeStamp() const;
    void TimeStamp(std::uint64_t value); ///< Sets it: 0x0040 in Flags().

    /// The headers, to be filled in place. Headers that are not empty are sent even if the setter was never called;
    /// filling them this way does not change Flags().
    [[nodiscard]] Table& Headers();
    /// The headers, to be read.
    [[nodiscard]] const Table& Headers() const;
    /// Replaces the headers by a copy.
    void Headers(const Table& value);
    /// Replaces the headers by a copy; the argument is left unchanged.
    void Headers(Table&& value);

    /// One bit for each property that is set, as in the property flags of an AMQP content header: 0x8000 content
    /// type, 0x4000 content encoding, 0x2000 headers, 0x1000 delivery mode, 0x0800 priority, 0x0400 correlation
    /// id, 0x0200 reply to, 0x0100 expiration, 0x0080 message id, 0x0040 time stamp, 0x0020 type, 0x0010 user id,
    /// 0x0008 application id, 0x0004 cluster id.
    [[nodiscard]] std::uint32_t Flags() const;

private:
    friend class PropertiesCodec;

    // Those of a delivery are decoded only when somebody asks for them. Copies are always decoded.
    class LazyTable
    {
    public:
        LazyTable() = default;
        AMQP_LOCAL LazyTable(const LazyTable& other);
        ~LazyTable() = default;
        AMQP_LOCAL LazyTable& operator=(const LazyTable& other);

        AMQP_LOCAL Table& Get() const;
        // What is to be decoded is borrowed until then.
        AMQP_LOCAL void Decode(const void* table);

    private:
        AMQP_LOCAL void DecodeNow() const;

        mutable Table decoded;
        mutable std::atomic<const void*> encoded = nullptr; // rabbitmq-c's form
    };

    AMQP_LOCAL void SetText(std::string& property, std::string_view value, std::uint32_t flag);

    LazyTable headers;
    std::string contentType;
    std::string contentEncoding;
    std::string correlationId;
    std::string replyTo;
    std::string expiration;
    std::string messageId;
    std::string type;
    std::string userId;
    std::string applicationId;
    std::string clusterId;
    std::uint64_t timeStamp = 0;
    std::uint32_t flags = 0;
    DeliveryType deliveryMode = DeliveryType(0);
    std::uint8_t priority = 0;
};

} // namespace Amqp
