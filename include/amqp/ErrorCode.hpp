/// @file
/// What the library reports when the broker, the connection or rabbitmq-c fails. A plain value.
#pragma once

#include <amqp/Export.hpp>

#include <cstdint>
#include <exception>
#include <string>

namespace Amqp
{

/// A failure of the broker or of the connection, thrown or handed to a channel's error notifier; or no failure.
///
/// An error that belongs to one channel goes to that channel's notifier, and that channel is closed or dropped (see
/// Channel). An error that belongs to the connection is thrown, except by a publish, which reports it to its channel:
/// ConnectionClosed and every failure of the socket leave a connection that can only be destroyed, with its channels.
///
/// What rabbitmq-c finds wrong with an argument, such as a text of more than 255 bytes, is Library; what this library
/// finds wrong, and a socket that cannot be opened, is std::runtime_error.
struct AMQP_EXPORT ErrorCode : public std::exception
{
    /// Which layer failed.
    enum Categories : int
    {
        NoReply = 0,          ///< A call to the broker ended without any reply.
        Success = 1,          ///< No error.
        Library = 2,          ///< rabbitmq-c reported an error of its own.
        Server = 3,           ///< The broker sent a method that has no place here; `code` is 2. Only the channel that
                              ///< it was sent on is dropped.
        ConnectionClosed = 4, ///< The broker closed the connection; `code` is its reply code.
        ChannelClosed = 5,    ///< The broker closed a channel; `code` is its reply code, 0 when the run loop saw it,
                              ///< or 504 when a closed channel was used again.
        Tcp = 6,              ///< The TCP socket failed.
        Ssl = 7,              ///< TLS failed.
        Unexpected = 8        ///< Anything else.
    };

    /// No error: `Success`, code 0, no message.
    ErrorCode();
    /// An error of the given values, as they are.
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

    /// True when this is an error: whenever the category is not `Success`.
    explicit operator bool() const;

    /// The message; never null. Valid until the object is assigned to or destroyed.
    [[nodiscard]] const char* what() const noexcept override;

    /// The broker's or rabbitmq-c's text, or one of the library's own. Never holds a credential.
    std::string message;

    /// Which layer failed.
    Categories category : 16;

    /// What `category` says. For Tcp, Ssl and Unexpected it is rabbitmq-c's status without its sign, as for
    /// Library when a publish or the run loop failed; a Library error of a call that awaits a reply has code 1.
    std::uint16_t code;
};

} // namespace Amqp
