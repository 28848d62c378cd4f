// Translates rabbitmq-c's results into ErrorCode; no other file does. The functions are pure and own nothing: any
// thread may call them.
#pragma once

#include "values/RabbitMq.hpp"

#include <amqp/ErrorCode.hpp>

namespace Amqp
{

/// Returns the error of a call that awaited a reply, or `Success` if the call succeeded.
ErrorCode FromReply(const amqp_rpc_reply_t& reply);

/// Returns the error that a negative status of rabbitmq-c stands for.
ErrorCode FromStatus(int status);

// Return the outcome of a call in rabbitmq-c's form: the reply arrived; something failed before the reply; a close
// arrived in place of the reply.
amqp_rpc_reply_t NormalReply();
amqp_rpc_reply_t LibraryException(int status);
amqp_rpc_reply_t ServerException(const amqp_method_t& close);

} // namespace Amqp
