#include "connection/ReassemblyBuffer.hpp"

#include "connection/PartHeader.hpp"
#include "values/Bytes.hpp"

#include <algorithm>
#include <new>
#include <variant>

namespace Amqp
{

namespace
{

const FieldValue* FindHeader(const Envelope& envelope, const char* name)
{
    const auto& headers = envelope.Headers().Entries();
    const auto found = headers.find(name);
    return found == headers.end() ? nullptr : &found->second;
}

const std::uint64_t* FindNumber(const Envelope& envelope, const char* name)
{
    return std::get_if<std::uint64_t>(FindHeader(envelope, name));
}

// Looks at what was read: an ordinary message needs no decoded headers.
bool MayBePart(const amqp_basic_properties_t& properties)
{
    const auto isFlag = [](const amqp_table_entry_t& entry) { return ToView(entry.key) == PartHeader::flag; };
    const amqp_table_t& headers = properties.headers;
    return (properties._flags & AMQP_BASIC_HEADERS_FLAG) != 0 &&
           std::any_of(headers.entries, headers.entries + headers.num_entries, isFlag);
}

bool IsFlagged(const Envelope& envelope)
{
    const bool* const flag = std::get_if<bool>(FindHeader(envelope, PartHeader::flag));
    return flag != nullptr && *flag;
}

} // namespace

ReassemblyBuffer::Result ReassemblyBuffer::Take(const ReceivedEnvelope& received, const Envelope& envelope)
{
    if (!MayBePart(received->message.properties))
    {
        return Result::Ordinary;
    }
    const FieldValue* const hash = IsFlagged(envelope) ? FindHeader(envelope, PartHeader::hash) : nullptr;
    if (hash == nullptr)
    {
        return Result::Ordinary;
    }
    const auto& name = std::get<std::string>(*hash);
    const std::uint64_t* const index = FindNumber(envelope, PartHeader::index);
    const std::uint64_t* const total = FindNumber(envelope, PartHeader::total);
    if (index == nullptr || total == nullptr)
    {
        return Result::Ordinary;
    }

    const auto found = series.try_emplace(name).first;
    Parts& parts = found->second;
    const auto [part, added] = parts.try_emplace(*index, received);
    if (!added)
    {
        return Result::Duplicate;
    }
    if (parts.size() != *total || parts.rbegin()->first != *total - 1)
    {
        return Result::Stored;
    }
    try
    {
        Join(parts, *received);
    }
    catch (...)
    {
        // The delivery stays unacknowledged and will come again: it must find its place free then.
        parts.erase(part);
        if (parts.empty())
        {
            series.erase(found);
        }
        throw;
    }
    series.erase(found);
    return Result::Complete;
}

void ReassemblyBuffer::Join(const Parts& parts, amqp_envelope_t& completing)
{
    std::size_t size = 0;
    for (const auto& [index, part] : parts)
    {
        size += part->message.body.len;
    }

    const amqp_bytes_t whole = amqp_bytes_malloc(size);
    if (whole.bytes == nullptr && size != 0)
    {
        throw std::bad_alloc();
    }
    auto* end = static_cast<char*>(whole.bytes);
    for (const auto& [index, part] : parts)
    {
        const amqp_bytes_t& body = part->message.body;
        end = std::copy_n(static_cast<const char*>(body.bytes), body.len, end);
    }

    amqp_bytes_free(completing.message.body);
    completing.message.body = whole;
}

} // namespace Amqp
