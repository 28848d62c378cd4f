// Every method a test can name, with the ways to make bytes of one, to read one out of bytes and to print one.
// Plain functions over plain values, no threads.
#pragma once

#include <string>
#include <string_view>
#include <tuple>

#include "ChannelMethods.hpp"
#include "Codec.hpp"
#include "ConnectionMethods.hpp"
#include "ConsumeMethods.hpp"
#include "ExchangeMethods.hpp"
#include "PublishMethods.hpp"
#include "QueueMethods.hpp"

namespace Wire
{

using AllMethods =
    std::tuple<ConnectionStart, ConnectionStartOk, ConnectionSecure, ConnectionSecureOk, ConnectionTune,
               ConnectionTuneOk, ConnectionOpen, ConnectionOpenOk, ConnectionClose, ConnectionCloseOk,
               ConnectionBlocked, ConnectionUnblocked, ChannelOpen, ChannelOpenOk, ChannelFlow, ChannelFlowOk,
               ChannelClose, ChannelCloseOk, ExchangeDeclare, ExchangeDeclareOk, ExchangeDelete, ExchangeDeleteOk,
               ExchangeBind, ExchangeBindOk, ExchangeUnbind, ExchangeUnbindOk, QueueDeclare, QueueDeclareOk, QueueBind,
               QueueBindOk, QueuePurge, QueuePurgeOk, QueueDelete, QueueDeleteOk, QueueUnbind, QueueUnbindOk, BasicQos,
               BasicQosOk, BasicConsume, BasicConsumeOk, BasicCancel, BasicCancelOk, BasicPublish, BasicReturn,
               BasicDeliver, BasicGet, BasicGetOk, BasicGetEmpty, BasicAck, BasicReject, BasicNack, ConfirmSelect,
               ConfirmSelectOk>;

// The payload of the method frame: class, method, fields.
template <typename Method>
std::string Encode(const Method& method)
{
    Encoder encoder;
    encoder.Short("class", Method::id.classId);
    encoder.Short("method", Method::id.methodId);
    Method::Visit(method, encoder);
    return encoder.writer.Bytes();
}

// Throws Malformed unless the payload is this method, whole, with nothing after it.
template <typename Method>
Method Decode(std::string_view payload)
{
    Decoder decoder{Reader(payload)};
    MethodId id;
    decoder.Short("class", id.classId);
    decoder.Short("method", id.methodId);
    if (!(id == Method::id))
    {
        throw Malformed("not " + std::string(Method::name));
    }
    Method method;
    Method::Visit(method, decoder);
    if (decoder.reader.Left() != 0)
    {
        throw Malformed(std::to_string(decoder.reader.Left()) + " octets too many for " + std::string(Method::name));
    }
    return method;
}

template <typename Method>
std::string DescribeMethod(const Method& method)
{
    Printer printer;
    Method::Visit(method, printer);
    return std::string(Method::name) + " {" + printer.text + "}";
}

// The same text for the payload of a method frame, whichever method it is; hex when it is none or damaged.
std::string DescribePayload(std::string_view payload);

} // namespace Wire
