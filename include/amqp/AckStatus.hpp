/// @file
/// The broker's reason to return a message, and the callback that receives the message.
#pragma once

#include <amqp/Envelope.hpp>

#include <cstdint>
#include <functional>
#include <string_view>

namespace Amqp
{

/// Why the broker returned a message: fields of its `basic.return`. The views are valid only during the callback, also
/// while the callback calls the broker.
struct AckStatus
{
    std::string_view exchange;   ///< The exchange the message was published to.
    std::string_view routingKey; ///< The routing key the message was published with.
    std::uint16_t replyCode;     ///< The broker's reply code: 312 if no queue was bound for the message.
};

/// Takes a message that the broker returned as unroutable, inside Connection::Run.
///
/// The callback is not a confirmation: for a routed message, nobody calls it. As its message id, the envelope carries
/// the number that the library gave the message. Its body is valid only during the call. The callback may publish. An
/// exception from the callback propagates out of Connection::Run.
using PublishCallback = std::function<void(const Envelope&, const AckStatus&)>;

} // namespace Amqp
