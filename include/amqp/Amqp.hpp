/// @file
/// All headers of the library.
#pragma once

#include <amqp/AckStatus.hpp>
#include <amqp/Acknowledge.hpp>
#include <amqp/Array.hpp>
#include <amqp/Batch.hpp>
#include <amqp/Channel.hpp>
#include <amqp/Connection.hpp>
#include <amqp/Consumer.hpp>
#include <amqp/Envelope.hpp>
#include <amqp/ErrorCode.hpp>
#include <amqp/ExchangeType.hpp>
#include <amqp/FieldValue.hpp>
#include <amqp/Guid.hpp>
#include <amqp/Hash.hpp>
#include <amqp/MetaData.hpp>
#include <amqp/Producer.hpp>
#include <amqp/Table.hpp>

/// @namespace Amqp
/// All types of the library: Connection and Channel; the messages and their contents (Envelope, MetaData, Table,
/// Array); errors (ErrorCode); Batch; and the ready-made roles Consumer and Producer.
