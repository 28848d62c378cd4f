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

// Returns whether the message has the header of a part. Looks at the headers as rabbitmq-c has read them: ordinary
// messages are spared the decoding.
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

ReassemblyBuffer::Result ReassemblyBuffer::Take(Event& delivery, Envelope& envelope, Octets& whole)
{
    if (!MayBePart(*delivery.properties))
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

    if (!series)
    {
        series = std::make_unique<Series>();
    }
    static const Parts none;
    const auto found = series->find(name);
    const Parts& parts = found == series->end() ? none : found->second;
    if (parts.contains(*index))
    {
        return Result::Duplicate;
    }
    const std::uint64_t last = parts.empty() ? *index : std::max(*index, parts.rbegin()->first);
    if (parts.size() + 1 != *total || last != *total - 1)
    {
        Octets body = delivery.TakeBody();
        (*series)[name].emplace(*index, std::move(body));
        return Result::Stored;
    }
    whole = Join(parts, *index, delivery.body);
    envelope.SetBody(whole.Data(), whole.View().size());
    if (found != series->end())
    {
        series->erase(found);
    }
    return Result::Complete;
}

Octets ReassemblyBuffer::Join(const Parts& parts, std::uint64_t index, std::string_view body)
{
    std::size_t size = body.size();
    for (const auto& [number, part] : parts)
    {
        size += part.View().size();
    }

    Octets whole(amqp_bytes_malloc(size));
    if (whole.Data() == nullptr && size != 0)
    {
        throw std::bad_alloc();
    }
    char* end = whole.Data();
    const auto append = [&end](std::string_view octets) { end = std::copy(octets.begin(), octets.end(), end); };
    const auto after = parts.upper_bound(index);
    std::for_each(parts.begin(), after, [&](const auto& part) { append(part.second.View()); });
    append(body);
    std::for_each(after, parts.end(), [&](const auto& part) { append(part.second.View()); });
    return whole;
}

} // namespace Amqp
