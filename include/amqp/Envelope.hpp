/// @file
/// A message: its properties and a view of its body. The envelope never owns the body. A plain value; it may be
/// read from several threads as long as none changes it.
#pragma once

#include <amqp/Export.hpp>
#include <amqp/MetaData.hpp>

#include <cstdint>
#include <string_view>
#include <vector>

namespace Amqp
{

/// A message as it is published and as a handler receives it.
///
/// The body belongs to whoever made the envelope and must outlive every use of it and of its copies. The body
/// of a received envelope belongs to the delivery: it is valid only during the handler or callback that was
/// given the envelope; copy the bytes to keep them. Copying or moving an envelope copies the view, never bytes.
class AMQP_EXPORT Envelope : public MetaData
{
public:
    /// No body, no property set.
    Envelope();

    /// A view of the vector's bytes, with the content type "application/octet-stream".
    Envelope(const std::vector<char>& body, DeliveryType mode);

    /// A view of the text's bytes, with the content type "text/plain".
    Envelope(std::string_view body, DeliveryType mode);

    /// A view of `size` bytes at `data`, without a content type.
    Envelope(std::uint64_t size, const void* data, DeliveryType mode);

    /// Copies the properties; both are views of the same body.
    Envelope(const Envelope& other);
    /// Moves the texts and copies the headers; both are views of the same body.
    Envelope(Envelope&& other);
    /// Leaves the body alone.
    ~Envelope() override;
    /// Copies the properties; both are views of the same body.
    Envelope& operator=(const Envelope& other);
    /// Moves the texts and copies the headers; both are views of the same body.
    Envelope& operator=(Envelope&& other);

    /// The body's first byte; null when there is no body.
    [[nodiscard]] const char* Body() const;

    /// The body's size in bytes.
    [[nodiscard]] std::uint64_t Size() const;

    /// Replaces the view of the body; the properties stay as they are.
    void SetBody(const char* data, std::uint64_t size);

    /// A view of part of the body: from `offset`, `length` bytes or as many as there are.
    ///
    /// An empty body gives an empty view, whatever the arguments. On any other an `offset` beyond the end throws
    /// std::out_of_range. The view lives as long as the body's bytes.
    [[nodiscard]] std::string_view ViewBody(std::uint64_t offset, std::uint64_t length) const;

private:
    const char* body = nullptr;
    std::uint64_t size = 0;
};

} // namespace Amqp
