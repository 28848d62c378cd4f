/// @file
/// What a publisher learns of a message that the broker could not route.
#pragma once

#include <amqp/Envelope.hpp>

#include <cstdint>
#include <functional>
#include <string_view>

namespace Amqp
{

/// Why a message came back: the broker's `basic.return`. The views are valid only during the callback, also while it
/// calls the broker.
struct AckStatus
{
    std::string_view exchange;   ///< The exchange it was published to.
    std::string_view routingKey; ///< The routing key it was published with.
    std::uint16_t replyCode;     ///< The broker's reply code: 312 when no queue was bound for it.
};

/// Called with a message that the broker sent back as unroutable, on the thread that runs the connection.
///
/// It is not a confirmation: nothing is called for a message that was routed. The envelope carries the number
/// that the library gave the message as its message id; its body is valid only during the call. The callback
/// may publish. What it throws leaves Connection::Run.
using PublishCallback = std::function<void(const Envelope&, const AckStatus&)>;

} // namespace Amqp
