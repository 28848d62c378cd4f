// Every text that the library itself throws, puts into an ErrorCode or logs; docs/errors.md explains each text.
// Programs compare these texts: do not change them. Any thread may read these constants.
#pragma once

#include <array>
#include <bit>

namespace Amqp
{

// All members have the same type, so AllTexts returns every member without a second list.
struct Texts
{
    // Thrown, mostly as std::runtime_error.
    const char* tcpSocketNotOpened = "Unable to open a AMQP TCP socket";
    const char* tlsSocketNotOpened = "Unable to open a AMQP SSL TCP socket";
    const char* noConnectionState = "Unable to instanciate new AMQP logical connection";
    const char* noWakeup = "Unable to create an event descriptor";
    const char* noTcpSocket = "Unable to instanciate new AMQP TCP connection";
    const char* noTlsSocket = "Unable to instanciate new AMQP SSL TCP connection";
    const char* channelOnNullConnection = "Unable to create a channel on a null connection";
    const char* nullNotifier = "Error handler must NOT be null";
    const char* movedFromChannel = "Unable to use a channel that was moved from";
    const char* listeningOnNullConnection = "Unable to listen on a null connection";
    const char* invalidExchangeType = "Invalid exchange type";
    const char* invalidStream = "Invalid stream state";
    const char* messageIdIsNoNumber = "invalid stoull argument";
    const char* messageIdOutOfRange = "stoull argument out of range";
    const char* offsetBeyondBody = "invalid string_view position";

    // Messages of an ErrorCode. The run loop appends the number of the method to unexpectedMethod.
    const char* channelIsClosed = "Channel is closed";
    const char* brokerClosedChannel = "Broker requested channel close";
    const char* unexpectedMethod = "Unexpected Amqp method received ";
    const char* missingReplyType = "Missing AMQP RPC reply type";
    const char* unknownReplyType = "Unexpected exception";

    // Log lines. A text with {} is a format, which fmt checks when the library is compiled.
    const char* binding = "RabbitMQ: Binding {}";
    const char* listening = "RabbitMQ: Listening...";
    const char* stopListening = "RabbitMQ: Stop listening...";
    const char* listeningFailed = "RabbitMQ: Exception {}";
    const char* publishing = "RabbitMQ Producer: Publishing message, routing key {}";
    const char* replying = "RabbitMQ Producer: Replying to the queue {}, correlation id {}";
};

inline constexpr Texts ownTexts{};

// Returns each text once, for the test that compares the texts with docs/errors.md.
inline auto AllTexts()
{
    return std::bit_cast<std::array<const char*, sizeof(Texts) / sizeof(const char*)>>(ownTexts);
}

} // namespace Amqp
