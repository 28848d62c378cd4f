#include "Messages.hpp"

namespace Bench
{

std::string Kind::Name() const
{
    constexpr std::size_t kibi = 1024;
    const std::string text = size < kibi ? std::to_string(size) + " B" : std::to_string(size / kibi) + " KiB";
    return dress == Dress::Rich ? text + ", properties and headers" : text;
}

std::vector<Kind> AllKinds()
{
    std::vector<Kind> kinds;
    for (const std::size_t size : {16U, 100U, 4096U, 131072U})
    {
        kinds.push_back({size, Dress::Plain});
        kinds.push_back({size, Dress::Rich});
    }
    return kinds;
}

Message::Message(const Kind& kind)
    : dress(kind.dress), body(kind.size, 'b'), envelope(body.size(), body.data(), Amqp::MetaData::Persistent)
{
    if (dress == Dress::Rich)
    {
        Enrich();
    }
}

void Message::Enrich()
{
    envelope.ContentType(contentType);
    envelope.CorrelationId(correlation);
    envelope.ReplyTo(replyTo);
    envelope.Type(type);
    envelope.TimeStamp(time);
    envelope.Headers().Insert("attempt", attempt);
    envelope.Headers().Insert("region", region);
    envelope.Headers().Insert("sampled", sampled);
    envelope.Headers().Insert("trace", trace);
}

RawMessage::RawMessage(const Message& message) : body(message.body)
{
    properties._flags = AMQP_BASIC_DELIVERY_MODE_FLAG;
    properties.delivery_mode = 2;
    if (message.dress == Dress::Plain)
    {
        return;
    }
    properties._flags |= AMQP_BASIC_CONTENT_TYPE_FLAG | AMQP_BASIC_CORRELATION_ID_FLAG | AMQP_BASIC_REPLY_TO_FLAG |
                         AMQP_BASIC_TYPE_FLAG | AMQP_BASIC_TIMESTAMP_FLAG | AMQP_BASIC_HEADERS_FLAG;
    properties.content_type = ToBytes(message.contentType);
    properties.correlation_id = ToBytes(message.correlation);
    properties.reply_to = ToBytes(message.replyTo);
    properties.type = ToBytes(message.type);
    properties.timestamp = message.time;
    headers[0] = {ToBytes("attempt"), {AMQP_FIELD_KIND_U32, {}}};
    headers[0].value.value.u32 = message.attempt;
    headers[1] = {ToBytes("region"), {AMQP_FIELD_KIND_BYTES, {}}};
    headers[1].value.value.bytes = ToBytes(message.region);
    headers[2] = {ToBytes("sampled"), {AMQP_FIELD_KIND_BOOLEAN, {}}};
    headers[2].value.value.boolean = message.sampled;
    headers[3] = {ToBytes("trace"), {AMQP_FIELD_KIND_BYTES, {}}};
    headers[3].value.value.bytes = ToBytes(message.trace);
    properties.headers = {static_cast<int>(headers.size()), headers.data()};
}

} // namespace Bench
