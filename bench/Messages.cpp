#include "Messages.hpp"

#include <cstdint>

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
    : body(kind.size, 'b'), envelope(body.size(), body.data(), Amqp::MetaData::Persistent)
{
    properties._flags = AMQP_BASIC_DELIVERY_MODE_FLAG;
    properties.delivery_mode = 2;
    if (kind.dress == Dress::Rich)
    {
        Enrich();
    }
}

void Message::Enrich()
{
    envelope.ContentType("application/json");
    envelope.CorrelationId("4f1c2a7e");
    envelope.ReplyTo("answers");
    envelope.Type("order.placed");
    envelope.TimeStamp(1700000000);
    properties._flags |= AMQP_BASIC_CONTENT_TYPE_FLAG | AMQP_BASIC_CORRELATION_ID_FLAG | AMQP_BASIC_REPLY_TO_FLAG |
                         AMQP_BASIC_TYPE_FLAG | AMQP_BASIC_TIMESTAMP_FLAG | AMQP_BASIC_HEADERS_FLAG;
    properties.content_type = Bytes("application/json");
    properties.correlation_id = Bytes("4f1c2a7e");
    properties.reply_to = Bytes("answers");
    properties.type = Bytes("order.placed");
    properties.timestamp = 1700000000;

    Amqp::Table& table = envelope.Headers();
    table.Insert("attempt", std::uint32_t{1});
    table.Insert("region", "europe-west");
    table.Insert("sampled", true);
    table.Insert("trace", "00f067aa0ba902b7");
    headers[0] = {Bytes("attempt"), {AMQP_FIELD_KIND_U32, {}}};
    headers[0].value.value.u32 = 1;
    headers[1] = {Bytes("region"), {AMQP_FIELD_KIND_BYTES, {}}};
    headers[1].value.value.bytes = Bytes("europe-west");
    headers[2] = {Bytes("sampled"), {AMQP_FIELD_KIND_BOOLEAN, {}}};
    headers[2].value.value.boolean = 1;
    headers[3] = {Bytes("trace"), {AMQP_FIELD_KIND_BYTES, {}}};
    headers[3].value.value.bytes = Bytes("00f067aa0ba902b7");
    properties.headers = {static_cast<int>(headers.size()), headers.data()};
}

} // namespace Bench
