/// @file
/// A message: its properties and a view of its body. An envelope never owns its body. It is a plain value: several
/// threads may read an envelope as long as none changes it.
#pragma once

#include <amqp/Export.hpp>
#include <amqp/MetaData.hpp>

#include <cstdint>
#include <string_view>
#include <vector>

namespace Amqp
{

/// A message, as an application publishes it and as a handler receives it.
///
/// The body belongs to whoever made the envelope, and must outlive every use of the envelope and of its copies. The
/// body of a received envelope belongs to the delivery. It is valid only during the call of the handler or callback
/// that received the envelope; copy the bytes to keep them. A copied or moved envelope has a copy of the view, never of
/// the bytes.
class AMQP_EXPORT Envelope : public MetaData
{
public:
    /// Makes an envelope without a body and with no property set.
    Envelope();

    /// Views the vector's bytes, with the content type "application/octet-stream".
    Envelope(const std::vector<char>& body, DeliveryType mode);

    /// Views the string's bytes, with the content type "text/plain".
    Envelope(std::string_view body, DeliveryType mode);

    /// Views `size` bytes at `data`, without a content type.
    Envelope(std::uint64_t size, const void* data, DeliveryType mode);

    /// Copies the properties; both envelopes view the same body.
    Envelope(const Envelope& other);
    /// Moves the strings and copies the headers; both envelopes view the same body.
    Envelope(Envelope&& other);
    /// Destroys the properties, and does not touch the body.
    ~Envelope() override;
    /// Copies the properties; both envelopes view the same body.
    Envelope& operator=(const Envelope& other);
    /// Moves the strings and copies the headers; both envelopes view the same body.
    Envelope& operator=(Envelope&& other);

    /// Returns the address of the body's first byte, or null if there is no body.
    [[nodiscard]] const char* Body() const;

    /// Returns the body's size in bytes.
    [[nodiscard]] std::uint64_t Size() const;

    /// Replaces the view of the body, and does not change the properties.
    void SetBody(const char* data, std::uint64_t size);

    /// Returns a view of a range of the body: `length` bytes from `offset`, or as many as there are.
    ///
    /// If the body is empty, returns an empty view, whatever the arguments. Otherwise, if `offset` is beyond the end,
    /// throws std::out_of_range. The view is valid as long as the body's bytes.
    [[nodiscard]] std::string_view ViewBody(std::uint64_t offset, std::uint64_t length) const;

private:
    const char* body = nullptr;
    std::uint64_t size = 0;
};

} // namespace Amqp
