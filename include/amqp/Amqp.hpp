/// @file
/// All of the library.
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
/// All that the library offers: Connection and Channel; what travels (Envelope, MetaData, Table, Array); what goes
/// wrong (ErrorCode); Batch; and the ready-made roles Consumer and Producer.
