// Message properties to and from rabbitmq-c's structure. Encoding borrows every byte of text from the MetaData,
// which must outlive the encoded form; only many headers cost an allocation. Decoding copies all but the headers.
#pragma once

#include "values/FieldCodec.hpp"
#include "values/RabbitMq.hpp"

#include <amqp/Envelope.hpp>
#include <amqp/MetaData.hpp>

#include <cstddef>
#include <string_view>

namespace Amqp
{

/// Properties encoded for one call into rabbitmq-c: owns the header entries, borrows the text.
struct EncodedProperties
{
    explicit EncodedProperties(const MetaData& metaData);

    EncodedTable headers;
    amqp_basic_properties_t value;
};

EncodedProperties EncodeProperties(const MetaData& metaData);

/// Whether rabbitmq-c can put these properties into a frame whose payload has `room` bytes left for them:
/// AMQP_STATUS_OK, AMQP_STATUS_BAD_AMQP_DATA for a text or a key of more than 255 bytes, AMQP_STATUS_TABLE_TOO_BIG.
/// Found out without writing anything, which rabbitmq-c itself does not: it sends the method first. Properties
/// without headers fit any frame that AMQP allows, and their room is not looked at.
int CheckEncodable(const amqp_basic_properties_t& properties, std::size_t room);

/// Sets each property that is present; leaves the others as they are. Headers are decoded, and copied, only when they
/// are asked for, or when the MetaData is copied: `properties` must be there until then, or as long as the MetaData.
void DecodeProperties(const amqp_basic_properties_t& properties, MetaData& metaData);

/// A received message as its handler sees it: a view of its body, and of its headers as DecodeProperties says. A
/// message that does not say otherwise counts as persistent.
Envelope MakeReceivedEnvelope(const amqp_basic_properties_t& properties, std::string_view body);
/// The same, in the place of another received message: the memory of its texts is used again.
void MakeReceivedEnvelope(const amqp_basic_properties_t& properties, std::string_view body, Envelope& place);

} // namespace Amqp
