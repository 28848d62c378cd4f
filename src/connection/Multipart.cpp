#include "connection/Multipart.hpp"

#include "connection/PartHeader.hpp"
#include "engine/OutgoingMessage.hpp"
#include "values/Texts.hpp"

#include <amqp/Batch.hpp>
#include <amqp/Channel.hpp>
#include <amqp/Hash.hpp>

#include <fstream>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace Amqp
{

namespace
{

std::string ToHex(const std::array<unsigned char, 32>& digest)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    text.reserve(digest.size() * 2);
    for (const unsigned char byte : digest)
    {
        text += digits[byte >> 4];
        text += digits[byte & 0x0F];
    }
    return text;
}

Table SeriesHeaders(const Envelope& whole, std::uint64_t total)
{
    Table headers;
    headers.Insert(PartHeader::flag, true);
    headers.Insert(PartHeader::total, total);
    headers.Insert(PartHeader::index, std::uint64_t{0});
    headers.Insert(PartHeader::hash, ToHex(Hash::Sha<256>(whole.ViewBody(0, whole.Size()))));
    return headers;
}

} // namespace

PartSeries::PartSeries(const Envelope& message, std::size_t size)
    : whole(message), partSize(size), total(message.Size() / size + (message.Size() % size != 0 ? 1 : 0)), part(message)
{
    part.Headers(SeriesHeaders(whole, total));
}

const Envelope* PartSeries::Next()
{
    if (index == total)
    {
        return nullptr;
    }
    part.Headers().Remove(PartHeader::index);
    part.Headers().Insert(PartHeader::index, index);
    const std::string_view slice = whole.ViewBody(index * partSize, partSize);
    part.SetBody(slice.data(), slice.size());
    ++index;
    return &part;
}

void Channel::Publish(std::string_view exchange, std::string_view routingKey, const Envelope& envelope,
                      std::size_t partSize, PublishCallback callback)
{
    if (partSize == 0 || envelope.Size() <= partSize)
    {
        Require().Publish(*this, exchange, routingKey, envelope, std::move(callback));
        return;
    }
    const auto held = Hold();
    // A part that is refused does not stop those that follow. The notifier it goes to may drop the channel, which is
    // kept if it is shared, or destroy it.
    const auto self = weak_from_this().lock();
    const std::weak_ptr<void> watch = Watch();
    std::optional<Batch> together;
    if (partSize < gatheredBelow)
    {
        together.emplace(*this);
    }
    PartSeries series(envelope, partSize);
    while (const Envelope* const part = watch.expired() ? nullptr : series.Next())
    {
        held->Publish(*this, exchange, routingKey, *part, PublishCallback(callback));
    }
}

void Channel::Publish(std::string_view exchange, std::string_view routingKey, std::string_view body,
                      std::size_t partSize, PublishCallback callback)
{
    Publish(exchange, routingKey, Envelope(body, MetaData::Persistent), partSize, std::move(callback));
}

void Channel::Publish(std::string_view exchange, std::string_view routingKey, std::ifstream& stream,
                      std::size_t partSize, PublishCallback callback)
{
    if (stream.fail())
    {
        throw std::runtime_error(ownTexts.invalidStream);
    }
    stream.seekg(0, std::ios::end);
    const std::streamoff size = stream.tellg();
    std::string content;
    // A pipe has no size, and a folder an absurd one.
    if (size < 0 || static_cast<std::uint64_t>(size) > content.max_size())
    {
        throw std::runtime_error(ownTexts.invalidStream);
    }
    content.resize(static_cast<std::size_t>(size));
    stream.seekg(0, std::ios::beg);
    stream.read(content.data(), static_cast<std::streamsize>(size));
    Publish(exchange, routingKey, std::string_view(content), partSize, std::move(callback));
}

} // namespace Amqp
