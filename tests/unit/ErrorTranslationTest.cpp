// What rabbitmq-c reports, as the library's error: every type of reply, and statuses by their range.
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "connection/ErrorTranslation.hpp"
#include "values/Bytes.hpp"

using namespace Amqp;
using namespace std::string_literals;

namespace
{

void ExpectError(const ErrorCode& error, ErrorCode::Categories category, int code, const std::string& message)
{
    EXPECT_EQ(error.category, category) << message;
    EXPECT_EQ(error.code, code) << message;
    EXPECT_EQ(error.message, message);
}

ErrorCode OfReplyType(int type)
{
    amqp_rpc_reply_t reply{};
    reply.reply_type = static_cast<amqp_response_type_enum>(type);
    return FromReply(reply);
}

ErrorCode OfLibraryError(int number)
{
    amqp_rpc_reply_t reply{};
    reply.reply_type = AMQP_RESPONSE_LIBRARY_EXCEPTION;
    reply.library_error = number;
    return FromReply(reply);
}

// The reply of a broker that answered with a close of this kind.
template <typename Close>
ErrorCode OfClose(amqp_method_number_t method, std::uint16_t code, std::string_view text)
{
    Close close{};
    close.reply_code = code;
    close.reply_text = ToBytes(text);
    amqp_rpc_reply_t reply{};
    reply.reply_type = AMQP_RESPONSE_SERVER_EXCEPTION;
    reply.reply.id = method;
    reply.reply.decoded = &close;
    return FromReply(reply);
}

} // namespace

TEST(FromReply, WithoutATypeIsNoReply)
{
    ExpectError(OfReplyType(0), ErrorCode::NoReply, 1, "Missing AMQP RPC reply type");
    EXPECT_TRUE(OfReplyType(0));
}

TEST(FromReply, OfANormalReplyIsSuccess)
{
    ExpectError(OfReplyType(1), ErrorCode::Success, 0, "");
    EXPECT_FALSE(OfReplyType(1));
}

TEST(FromReply, OfALibraryExceptionIsCategory2AndCode1WhateverItsNumber)
{
    for (const int number :
         std::initializer_list<int>{AMQP_STATUS_NO_MEMORY, AMQP_STATUS_CONNECTION_CLOSED, AMQP_STATUS_TIMEOUT,
                                    AMQP_STATUS_SOCKET_ERROR, AMQP_STATUS_TCP_ERROR, AMQP_STATUS_SSL_ERROR, -0x0300, 0})
    {
        ExpectError(OfLibraryError(number), ErrorCode::Library, 1, amqp_error_string2(number));
    }
}

TEST(FromReply, OfALibraryExceptionKeepsTheNumberInTheMessageOnly)
{
    EXPECT_NE(OfLibraryError(AMQP_STATUS_TIMEOUT).message, OfLibraryError(AMQP_STATUS_NO_MEMORY).message);
}

TEST(FromReply, OfAChannelCloseIsCategory5WithTheBrokersCodeAndText)
{
    ExpectError(OfClose<amqp_channel_close_t>(0x00140028, 404, "NOT_FOUND - no queue 'q'"), ErrorCode::ChannelClosed,
                404, "NOT_FOUND - no queue 'q'");
}

TEST(FromReply, OfAConnectionCloseIsCategory4WithTheBrokersCodeAndText)
{
    ExpectError(OfClose<amqp_connection_close_t>(0x000A0032, 320, "CONNECTION_FORCED"), ErrorCode::ConnectionClosed,
                320, "CONNECTION_FORCED");
}

TEST(FromReply, OfAnyOtherMethodIsCategory3)
{
    ExpectError(OfClose<amqp_channel_close_t>(AMQP_CHANNEL_OPEN_OK_METHOD, 200, "text"), ErrorCode::Server, 200,
                "text");
}

TEST(FromReply, KeepsEveryByteOfABinaryText)
{
    std::string octets;
    for (int octet = 0; octet < 256; ++octet)
    {
        octets += static_cast<char>(octet);
    }

    const ErrorCode error = OfClose<amqp_channel_close_t>(AMQP_CHANNEL_CLOSE_METHOD, 65535, octets);

    ExpectError(error, ErrorCode::ChannelClosed, 65535, octets);
    EXPECT_STREQ(error.what(), "");
}

TEST(FromReply, StopsAtTheLengthOfTheText)
{
    const std::string_view longer = "text and more";

    const ErrorCode error = OfClose<amqp_channel_close_t>(AMQP_CHANNEL_CLOSE_METHOD, 1, longer.substr(0, 4));

    EXPECT_EQ(error.message, "text");
}

TEST(FromReply, OfATextWithoutAPointerHasAnEmptyMessage)
{
    ExpectError(OfClose<amqp_connection_close_t>(AMQP_CONNECTION_CLOSE_METHOD, 0, {}), ErrorCode::ConnectionClosed, 0,
                "");
}

TEST(FromReply, OfAnyOtherTypeIsUnexpected)
{
    ExpectError(OfReplyType(4), ErrorCode::Unexpected, 1, "Unexpected exception");
    ExpectError(OfReplyType(100), ErrorCode::Unexpected, 1, "Unexpected exception");
}

TEST(FromStatus, Minus1IsCategory2AndCode1)
{
    ExpectError(FromStatus(-1), ErrorCode::Library, 1, amqp_error_string2(-1));
}

TEST(FromStatus, Minus0100IsCategory6AndCode0100)
{
    ExpectError(FromStatus(-0x0100), ErrorCode::Tcp, 0x0100, amqp_error_string2(-0x0100));
}

TEST(FromStatus, Minus0200IsCategory7AndCode0200)
{
    ExpectError(FromStatus(-0x0200), ErrorCode::Ssl, 0x0200, amqp_error_string2(-0x0200));
}

TEST(FromStatus, Minus0300IsCategory8)
{
    ExpectError(FromStatus(-0x0300), ErrorCode::Unexpected, 0x0300, amqp_error_string2(-0x0300));
}

TEST(FromStatus, TakesTheCategoryFromTheSecondByte)
{
    EXPECT_EQ(FromStatus(-0x00FF).category, ErrorCode::Library);
    EXPECT_EQ(FromStatus(-0x0101).category, ErrorCode::Tcp);
    EXPECT_EQ(FromStatus(-0x01FF).category, ErrorCode::Tcp);
    EXPECT_EQ(FromStatus(-0x0205).category, ErrorCode::Ssl);
    EXPECT_EQ(FromStatus(-0x02FF).category, ErrorCode::Ssl);
    EXPECT_EQ(FromStatus(-0xFF00).category, ErrorCode::Unexpected);
    EXPECT_EQ(FromStatus(-0x10100).category, ErrorCode::Tcp);
}

TEST(FromStatus, CutsTheCodeTo16Bits)
{
    EXPECT_EQ(FromStatus(-0x12345).code, 0x2345);
}

TEST(FromStatus, NamesRealStatuses)
{
    ExpectError(FromStatus(AMQP_STATUS_TABLE_TOO_BIG), ErrorCode::Library, -AMQP_STATUS_TABLE_TOO_BIG,
                amqp_error_string2(AMQP_STATUS_TABLE_TOO_BIG));
    ExpectError(FromStatus(AMQP_STATUS_SSL_PEER_VERIFY_FAILED), ErrorCode::Ssl, -AMQP_STATUS_SSL_PEER_VERIFY_FAILED,
                amqp_error_string2(AMQP_STATUS_SSL_PEER_VERIFY_FAILED));
}
