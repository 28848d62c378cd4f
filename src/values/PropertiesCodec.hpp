// Converts message properties to rabbitmq-c's structure and back. Encoding borrows every byte of a string from the
// MetaData, which must outlive the encoded form; it allocates only for many or nested headers. Decoding copies every
// property except the headers, which it borrows. The functions have no state: any thread may call them.
#pragma once

#include "values/FieldCodec.hpp"
#include "values/RabbitMq.hpp"

#include <amqp/Envelope.hpp>
#include <amqp/MetaData.hpp>

#include <cstddef>
#include <string_view>

namespace Amqp
{

/// Properties encoded for one call into rabbitmq-c. Owns the entries of the headers and borrows the strings.
struct EncodedProperties
{
    explicit EncodedProperties(const MetaData& metaData);

    EncodedTable headers;
    amqp_basic_properties_t value;
};

EncodedProperties EncodeProperties(const MetaData& metaData);

/// Checks whether the properties fit a frame whose payload has `room` bytes left for them. Returns AMQP_STATUS_OK, or
/// AMQP_STATUS_TABLE_TOO_BIG if they do not fit. Returns AMQP_STATUS_BAD_AMQP_DATA if a string property or a header's
/// key exceeds 255 bytes. Check before encoding: rabbitmq-c's encoder checks neither the keys nor the size of the
/// frame, and the broker would close the connection. Without headers, the properties fit every frame that AMQP allows.
int CheckEncodable(const amqp_basic_properties_t& properties, std::size_t room);

/// Sets each property that is present, and leaves the others as they are. Headers are decoded only when somebody asks
/// for them or copies the MetaData. `properties` must stay valid until the headers are decoded, or as long as the
/// MetaData.
void DecodeProperties(const amqp_basic_properties_t& properties, MetaData& metaData);

/// Returns a received message as its handler sees it. The envelope borrows the body. It borrows the headers as
/// DecodeProperties says. If the message has no delivery mode, the mode is Persistent.
Envelope MakeReceivedEnvelope(const amqp_basic_properties_t& properties, std::string_view body);
/// Puts the received message into `place`, which may hold an earlier message: its strings' memory is used again.
void MakeReceivedEnvelope(const amqp_basic_properties_t& properties, std::string_view body, Envelope& place);

} // namespace Amqp
