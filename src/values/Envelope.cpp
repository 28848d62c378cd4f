#include <amqp/Envelope.hpp>

#include "values/Texts.hpp"

#include <algorithm>
#include <stdexcept>

namespace Amqp
{

Envelope::Envelope() = default;

Envelope::Envelope(const std::vector<char>& bytes, DeliveryType mode) : Envelope(bytes.size(), bytes.data(), mode)
{
    ContentType("application/octet-stream");
}

Envelope::Envelope(std::string_view text, DeliveryType mode) : Envelope(text.size(), text.data(), mode)
{
    ContentType("text/plain");
}

Envelope::Envelope(std::uint64_t bytes, const void* data, DeliveryType mode)
    : body(static_cast<const char*>(data)), size(bytes)
{
    DeliveryMode(mode);
}

Envelope::Envelope(const Envelope& other) = default;

Envelope::Envelope(Envelope&& other) = default;

Envelope::~Envelope() = default;

Envelope& Envelope::operator=(const Envelope& other) = default;

Envelope& Envelope::operator=(Envelope&& other) = default;

const char* Envelope::Body() const
{
    return body;
}

std::uint64_t Envelope::Size() const
{
    return size;
}

void Envelope::SetBody(const char* data, std::uint64_t bytes)
{
    body = data;
    size = bytes;
}

std::string_view Envelope::ViewBody(std::uint64_t offset, std::uint64_t length) const
{
    if (body == nullptr || size == 0)
    {
        return {};
    }
    if (offset > size)
    {
        throw std::out_of_range(ownTexts.offsetBeyondBody);
    }
    return {body + offset, static_cast<std::size_t>(std::min(size - offset, length))};
}

} // namespace Amqp
