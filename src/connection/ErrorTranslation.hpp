// The one translation of what rabbitmq-c reports into the library's error type. Pure functions.
#pragma once

#include "values/RabbitMq.hpp"

#include <amqp/ErrorCode.hpp>

namespace Amqp
{

/// The outcome of a call that awaited a reply; `Success` when it succeeded.
ErrorCode FromReply(const amqp_rpc_reply_t& reply);

/// The error that a negative status stands for.
ErrorCode FromStatus(int status);

// Outcomes as rabbitmq-c puts them: the reply came; something failed before it did; a close came in its place.
amqp_rpc_reply_t NormalReply();
amqp_rpc_reply_t LibraryException(int status);
amqp_rpc_reply_t ServerException(const amqp_method_t& close);

} // namespace Amqp
