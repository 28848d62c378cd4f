/// @file
/// Random identifiers (UUIDs) and their text form. No state: may be called from any thread.
#pragma once

#include <amqp/Export.hpp>

#include <array>
#include <string>
#include <string_view>

/// UUIDs: made, written and read.
namespace Amqp::Guid
{

/// A new random identifier (version 4): 16 bytes, in the order in which they are written as text.
///
/// @throws std::runtime_error  the system's source of random numbers failed (boost::uuids::entropy_error).
[[nodiscard]] AMQP_EXPORT std::array<unsigned char, 16> New();

/// Writes an identifier as text: 36 characters, lower-case hexadecimal digits in groups of 8, 4, 4, 4 and 12.
[[nodiscard]] AMQP_EXPORT std::string ToString(const std::array<unsigned char, 16>& guid);

/// Reads 32 hexadecimal digits of either case, in the five groups of ToString or without any dash, and either form in
/// braces or not. Any 128 bits are accepted.
///
/// @throws std::runtime_error  "invalid uuid string" for any other text.
[[nodiscard]] AMQP_EXPORT std::array<unsigned char, 16> FromString(std::string_view text);

/// Reads a std::string in the same way.
[[nodiscard]] AMQP_EXPORT std::array<unsigned char, 16> FromString(const std::string& text);

} // namespace Amqp::Guid
