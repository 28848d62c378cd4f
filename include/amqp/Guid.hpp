/// @file
/// Random identifiers (UUIDs) and their string form. The functions have no state: any thread may call them.
#pragma once

#include <amqp/Export.hpp>

#include <array>
#include <string>
#include <string_view>

/// Functions that make, write and read UUIDs.
namespace Amqp::Guid
{

/// Makes a random identifier (version 4): 16 bytes, in the order in which ToString writes them.
///
/// @throws std::runtime_error  the system's source of random numbers failed (boost::uuids::entropy_error).
[[nodiscard]] AMQP_EXPORT std::array<unsigned char, 16> New();

/// Returns an identifier as a string: 36 characters, lower-case hexadecimal digits in groups of 8, 4, 4, 4 and 12.
[[nodiscard]] AMQP_EXPORT std::string ToString(const std::array<unsigned char, 16>& guid);

/// Reads 32 hexadecimal digits of either case, in the five groups of ToString or without any dash. Both forms may be in
/// braces. Any 128 bits are accepted.
///
/// @throws std::runtime_error  "invalid uuid string" for any other string.
[[nodiscard]] AMQP_EXPORT std::array<unsigned char, 16> FromString(std::string_view text);

/// Reads a std::string in the same way.
[[nodiscard]] AMQP_EXPORT std::array<unsigned char, 16> FromString(const std::string& text);

} // namespace Amqp::Guid
