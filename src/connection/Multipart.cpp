// Implements PartSeries, and Channel::Publish, which sends a large body as a series. Multipart.hpp and Channel.hpp say
// who owns what, and which thread may call.
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
    // If a part cannot be sent, the remaining parts are still attempted. The notifier of the error may release the
    // channel. If a std::shared_ptr holds the channel, `self` keeps the channel alive. Otherwise the notifier may
    // destroy the channel: `watch` then expires and ends the series.
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
    // The size of a pipe is unknown (-1), and the size reported for a directory is absurdly large.
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
