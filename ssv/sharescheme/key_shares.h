#pragma once

// A 32-byte key split byte by byte by Shamir's scheme over GF(2^8): five key shares, all five
// needed. A key share is its x-coordinate (one byte) followed by the 32 values of the sharing
// polynomials at x.

#include "ssv/sharescheme/random_source.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace QVCryptoService::sharescheme {

inline constexpr std::size_t kKeyShareCount = 5;
inline constexpr std::size_t kSharedKeySize = 32;
inline constexpr std::size_t kKeyShareSize = 1 + kSharedKeySize;

using KeyShareView = std::span<const std::uint8_t, kKeyShareSize>;

// CreateKeyShares writes the five key shares of `key`, with x = 1..5, back to back into
// `keyShares`. The four higher coefficients of every polynomial come from `random` (128 bytes,
// one call). Returns false when `random` fails; `keyShares` is then left untouched.
bool CreateKeyShares(std::span<const std::uint8_t, kSharedKeySize> key,
                     std::span<std::uint8_t, kKeyShareCount * kKeyShareSize> keyShares, RandomSource random);

// CombineKeyShares interpolates the five key shares at zero and writes the key. It cannot fail:
// shares that do not belong together (or two with the same x, whose basis then counts as zero)
// give a wrong key, which the caller's authenticator must catch.
void CombineKeyShares(const std::array<KeyShareView, kKeyShareCount>& keyShares,
                      std::span<std::uint8_t, kSharedKeySize> key);

}  // namespace QVCryptoService::sharescheme
