/// @file
/// The error that the library reports or throws when the broker, the connection or rabbitmq-c fails. A plain value.
#pragma once

#include <amqp/Export.hpp>

#include <cstdint>
#include <exception>
#include <string>

namespace Amqp
{

/// A failure of the broker or of the connection, thrown or reported to a channel's error notifier; or no failure.
///
/// An error that belongs to one channel is reported to that channel's notifier, and the channel is closed or dropped
/// (see Channel). An error that belongs to the connection is thrown, except by a publish, which reports the error to
/// its channel. After ConnectionClosed, and after every failure of the socket, the connection and its channels can only
/// be destroyed.
///
/// If an argument violates a limit of rabbitmq-c, such as a string of more than 255 bytes, the category is Library. If
/// this library refuses an argument, or a socket cannot be opened, the error is a std::runtime_error instead.
struct AMQP_EXPORT ErrorCode : public std::exception
{
    /// Which layer failed.
    enum Categories : int
    {
        NoReply = 0,          ///< A call to the broker ended without any reply.
        Success = 1,          ///< No error.
        Library = 2,          ///< rabbitmq-c reported an error of its own.
        Server = 3,           ///< The broker sent a method that has no place here; `code` is 2. Only the channel on
                              ///< which the method arrived is dropped.
        ConnectionClosed = 4, ///< The broker closed the connection; `code` is its reply code.
        ChannelClosed = 5,    ///< The broker closed a channel; `code` is its reply code, 0 if Connection::Run saw
                              ///< the close, or 504 if a closed channel was used again.
        Tcp = 6,              ///< The TCP socket failed.
        Ssl = 7,              ///< TLS failed.
        Unexpected = 8        ///< Anything else.
    };

    /// Makes no error: `Success`, code 0, no message.
    ErrorCode();
    /// Makes an error of the given values, as they are.
    ErrorCode(const std::string& message, Categories category, unsigned short code);
    /// Copies all three values.
    ErrorCode(const ErrorCode& other);
    /// Leaves `other` with its category and code and an empty message.
    ErrorCode(ErrorCode&& other) noexcept;
    ~ErrorCode() override;
    /// Copies all three values.
    ErrorCode& operator=(const ErrorCode& other);
    /// Leaves `other` with its category and code and an empty message.
    ErrorCode& operator=(ErrorCode&& other) noexcept;

    /// Returns whether this is an error: whether the category is not `Success`.
    explicit operator bool() const;

    /// Returns the message; never null. The pointer is valid until the object is assigned to or destroyed.
    [[nodiscard]] const char* what() const noexcept override;

    /// The broker's or rabbitmq-c's text, or one of the library's own. Never holds a credential.
    std::string message;

    /// Which layer failed.
    Categories category : 16;

    /// The meaning depends on `category`. For Tcp, Ssl and Unexpected it is rabbitmq-c's status without its sign. For
    /// Library it is also that status if a publish or Connection::Run failed, but 1 if a login or a call failed.
    std::uint16_t code;
};

} // namespace Amqp
