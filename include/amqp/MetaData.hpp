/// @file
/// The basic properties of a message. A plain value that owns its strings and headers. Several threads may read one as
/// long as none changes it.
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
/// A getter and its setter share a name. Every setter marks its property as set, whatever the value; nothing unsets a
/// property. The library sends only the properties that are set.
///
/// A setter of a string keeps at most the first 256 bytes. AMQP strings have at most 255 bytes: with a longer string,
/// publishing the message fails as Channel::Publish describes, and nothing is sent.
///
/// A getter returns the stored value, set or not. A returned string view is valid until its property is set again, or
/// the object is assigned to or destroyed.
class AMQP_EXPORT MetaData
{
public:
    /// The AMQP delivery mode.
    enum DeliveryType : std::uint8_t
    {
        NonPersistent = 1, ///< The broker keeps the message in memory, and loses it when it restarts.
        Persistent = 2     ///< The message survives a restart of the broker if its queue is durable.
    };

    /// Makes an object with no property set: strings and headers empty, numbers 0.
    MetaData();
    /// Copies every property, headers included.
    MetaData(const MetaData& other);
    /// Moves the strings and copies the headers.
    MetaData(MetaData&& other);
    virtual ~MetaData();
    /// Copies every property, headers included, and forgets all old properties.
    MetaData& operator=(const MetaData& other);
    /// Moves the strings and copies the headers.
    MetaData& operator=(MetaData&& other);

    /// Returns the MIME type of the body.
    [[nodiscard]] std::string_view ContentType() const;
    void ContentType(std::string_view value); ///< Sets it: 0x8000 in Flags().

    /// Returns the MIME encoding of the body.
    [[nodiscard]] std::string_view ContentEncoding() const;
    void ContentEncoding(std::string_view value); ///< Sets it: 0x4000 in Flags().

    /// Returns the string that a reply shares with its request.
    [[nodiscard]] std::string_view CorrelationId() const;
    void CorrelationId(std::string_view value); ///< Sets it: 0x0400 in Flags().

    /// Returns the name of the queue for the reply.
    [[nodiscard]] std::string_view ReplyTo() const;
    void ReplyTo(std::string_view value); ///< Sets it: 0x0200 in Flags().

    /// Returns the time to live in the queue: milliseconds, as a decimal string.
    [[nodiscard]] std::string_view Expiration() const;
    void Expiration(std::string_view value); ///< Sets it: 0x0100 in Flags().

    /// Returns the application's message identifier. A message that is published with a callback carries a number of
    /// the library's own instead.
    [[nodiscard]] std::string_view MessageId() const;
    void MessageId(std::string_view value); ///< Sets it: 0x0080 in Flags().

    /// Returns the application's message type.
    [[nodiscard]] std::string_view Type() const;
    void Type(std::string_view value); ///< Sets it: 0x0020 in Flags().

    /// Returns the publishing user. RabbitMQ refuses a message (reply code 406) whose user is not the connection's.
    [[nodiscard]] std::string_view UserId() const;
    void UserId(std::string_view value); ///< Sets it: 0x0010 in Flags().

    /// Returns the publishing application.
    [[nodiscard]] std::string_view ApplicationId() const;
    void ApplicationId(std::string_view value); ///< Sets it: 0x0008 in Flags().

    /// Returns the cluster id, which AMQP 0-9-1 reserves. The library passes it through.
    [[nodiscard]] std::string_view ClusterId() const;
    void ClusterId(std::string_view value); ///< Sets it: 0x0004 in Flags().

    /// Returns whether the message survives a restart of the broker. The library passes any byte through.
    [[nodiscard]] DeliveryType DeliveryMode() const;
    void DeliveryMode(DeliveryType value); ///< Sets it: 0x1000 in Flags().

    /// Returns the priority, 0 to 9. A larger value is stored as 9.
    [[nodiscard]] std::uint8_t Priority() const;
    void Priority(std::uint8_t value); ///< Sets it: 0x0800 in Flags().

    /// Returns the time stamp: by convention, seconds since 1970-01-01 UTC.
    [[nodiscard]] std::uint64_t TimeStamp() const;
    void TimeStamp(std::uint64_t value); ///< Sets it: 0x0040 in Flags().

    /// Returns the headers, to be filled in place. The library sends headers that are not empty even if the setter was
    /// never called. Filling them this way does not change Flags().
    [[nodiscard]] Table& Headers();
    /// Returns the headers, to be read.
    [[nodiscard]] const Table& Headers() const;
    /// Replaces the headers by a copy.
    void Headers(const Table& value);
    /// Replaces the headers by a copy, and does not change the argument.
    void Headers(Table&& value);

    /// Returns one bit for each property that is set, as in the property flags of an AMQP content header: 0x8000
    /// content type, 0x4000 content encoding, 0x2000 headers, 0x1000 delivery mode, 0x0800 priority, 0x0400 correlation
    /// id, 0x0200 reply to, 0x0100 expiration, 0x0080 message id, 0x0040 time stamp, 0x0020 type, 0x0010 user id,
    /// 0x0008 application id, 0x0004 cluster id.
    [[nodiscard]] std::uint32_t Flags() const;

private:
    friend class PropertiesCodec;

    // The headers of a delivery are decoded only when somebody reads them. Copies are always decoded.
    class LazyTable
    {
    public:
        LazyTable() = default;
        AMQP_LOCAL LazyTable(const LazyTable& other);
        ~LazyTable() = default;
        AMQP_LOCAL LazyTable& operator=(const LazyTable& other);

        AMQP_LOCAL Table& Get() const;
        // Borrows the table until it is decoded.
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
