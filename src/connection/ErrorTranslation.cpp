#include "connection/ErrorTranslation.hpp"

#include "values/Bytes.hpp"
#include "values/Texts.hpp"

#include <cstdint>
#include <cstring>
#include <string>

namespace Amqp
{

namespace
{

// The code of an error that takes the place of a reply, and that the broker did not send.
constexpr std::uint16_t noBrokerCode = 1;

ErrorCode FromServerException(const amqp_method_t& method)
{
    // Only the two close methods are reported this way, and the fields of both begin with code and text.
    const auto* const close = static_cast<const amqp_channel_close_t*>(method.decoded);
    const auto category = method.id == AMQP_CONNECTION_CLOSE_METHOD ? ErrorCode::ConnectionClosed
                          : method.id == AMQP_CHANNEL_CLOSE_METHOD  ? ErrorCode::ChannelClosed
                                                                    : ErrorCode::Server;
    return {std::string(ToView(close->reply_text)), category, close->reply_code};
}

ErrorCode::Categories CategoryOf(int magnitude)
{
    switch ((magnitude >> 8) & 0xFF)
    {
    case 0:
        return ErrorCode::Library;
    case 1:
        return ErrorCode::Tcp;
    case 2:
        return ErrorCode::Ssl;
    default:
        return ErrorCode::Unexpected;
    }
}

} // namespace

ErrorCode FromReply(const amqp_rpc_reply_t& reply)
{
    // Read the type as a number: the behaviour would be undefined if we switched on a value outside the enumeration.
    int type = 0;
    static_assert(sizeof type == sizeof reply.reply_type);
    std::memcpy(&type, &reply.reply_type, sizeof type);
    switch (type)
    {
    case AMQP_RESPONSE_NONE:
        return {ownTexts.missingReplyType, ErrorCode::NoReply, noBrokerCode};
    case AMQP_RESPONSE_NORMAL:
        return {};
    case AMQP_RESPONSE_LIBRARY_EXCEPTION:
        return {amqp_error_string2(reply.library_error), ErrorCode::Library, noBrokerCode};
    case AMQP_RESPONSE_SERVER_EXCEPTION:
        return FromServerException(reply.reply);
    default:
        return {ownTexts.unknownReplyType, ErrorCode::Unexpected, noBrokerCode};
    }
}

ErrorCode FromStatus(int status)
{
    const int magnitude = -status;
    return {amqp_error_string2(status), CategoryOf(magnitude), static_cast<std::uint16_t>(magnitude)};
}

amqp_rpc_reply_t NormalReply()
{
    amqp_rpc_reply_t reply{};
    reply.reply_type = AMQP_RESPONSE_NORMAL;
    return reply;
}

amqp_rpc_reply_t LibraryException(int status)
{
    amqp_rpc_reply_t reply{};
    reply.reply_type = AMQP_RESPONSE_LIBRARY_EXCEPTION;
    reply.library_error = status;
    return reply;
}

amqp_rpc_reply_t ServerException(const amqp_method_t& close)
{
    amqp_rpc_reply_t reply{};
    reply.reply_type = AMQP_RESPONSE_SERVER_EXCEPTION;
    reply.reply = close;
    return reply;
}

} // namespace Amqp
