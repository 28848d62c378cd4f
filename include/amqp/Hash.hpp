/// @file
/// SHA digests of bytes in memory. The functions have no state: any thread may call them.
#pragma once

#include <amqp/Export.hpp>

#include <array>
#include <cstddef>
#include <string_view>

/// Digests. Each part of a large body carries the digest of the whole body.
namespace Amqp::Hash
{

/// Returns the SHA digest of `data`, for Bits = 160, 224, 256, 384 and 512.
///
/// The algorithm is what OpenSSL knows as "SHA" followed by the number of bits. If OpenSSL cannot compute it, returns
/// zeros, and throws nothing. OpenSSL 3's default provider has no "SHA160", so Sha<160> then always returns zeros.
///
/// Calls EVP_Q_digest.
template <std::size_t Bits>
[[nodiscard]] AMQP_EXPORT std::array<unsigned char, Bits / 8> Sha(std::string_view data);

} // namespace Amqp::Hash
