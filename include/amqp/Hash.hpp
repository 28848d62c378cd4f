/// @file
/// SHA digests of bytes in memory. No state: may be called from any thread.
#pragma once

#include <amqp/Export.hpp>

#include <array>
#include <cstddef>
#include <string_view>

/// Digests, as the parts of a large body carry one.
namespace Amqp::Hash
{

/// The SHA digest of `data`, for Bits = 160, 224, 256, 384 and 512.
///
/// The algorithm is the one that OpenSSL knows as "SHA" followed by the bits. When it cannot be computed the result
/// is all zero; nothing is thrown. With OpenSSL 3's default provider, which has no "SHA160", that is so for every
/// Sha<160>.
///
/// Calls EVP_Q_digest.
template <std::size_t Bits>
[[nodiscard]] AMQP_EXPORT std::array<unsigned char, Bits / 8> Sha(std::string_view data);

} // namespace Amqp::Hash
