#pragma once

// The share format: a 64-byte message split into five 113-byte shares, all five needed. The
// message is sealed in a secret box under a fresh random key and an all-zero nonce; the box key
// is split into five key shares; each share is one key share followed by the whole sealed box
// without its 16 leading zero bytes:
//
//   offset 0   1 byte    x-coordinate of the key share (1..5)
//   offset 1   32 bytes  key share values
//   offset 33  16 bytes  Poly1305 tag
//   offset 49  64 bytes  XSalsa20 cipher text of the message

#include "ssv/sharescheme/key_shares.h"
#include "ssv/sharescheme/random_source.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace QVCryptoService::sharescheme {

inline constexpr std::size_t kShareCount = kKeyShareCount;
inline constexpr std::size_t kShareSize = 113;
inline constexpr std::size_t kShareMessageSize = 64;
// The part that is the same in all shares of one message: tag and cipher text.
inline constexpr std::size_t kShareBoxOffset = kKeyShareSize;
inline constexpr std::size_t kShareBoxSize = kShareSize - kShareBoxOffset;

using ShareView = std::span<const std::uint8_t, kShareSize>;

// CreateShares splits `message` into five shares written back to back into `shares`. The box
// key (32 bytes) and then the polynomial coefficients (128 bytes) come from `random`. Returns
// false when `random` fails; `shares` then holds nothing usable.
bool CreateShares(std::span<const std::uint8_t, kShareMessageSize> message,
                  std::span<std::uint8_t, kShareCount * kShareSize> shares, RandomSource random);

// CombineShares recovers the message from five shares, in any order. Returns 0, or -1 when the
// shares carry different boxes or the recombined key does not open the box; `message` is then
// left untouched.
int CombineShares(const std::array<ShareView, kShareCount>& shares, std::span<std::uint8_t, kShareMessageSize> message);

}  // namespace QVCryptoService::sharescheme
