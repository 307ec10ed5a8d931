#pragma once

// K-of-N threshold sharing of a byte string over GF(2^8), byte by byte: byte i of the secret is
// the constant term of a polynomial of degree K-1 with fresh random coefficients, and holder x
// (1..N) keeps its value at x. Any K holders' shares give the secret back by interpolation at
// zero; fewer say nothing about it.

#include <qvcryptoservice/secure_block.h>
#include <qvcryptoservice/ssv_recovery.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace QVCryptoService {

inline constexpr std::size_t kMinShareThreshold = kSsvKitMinThreshold;
inline constexpr std::size_t kMaxShareHolders = kSsvKitMaxHolders;

// SplitThreshold makes `holders` shares of `secret`, each as long as the secret; shares[x - 1]
// belongs to holder x. The coefficients come from OpenSSL's generator. Returns false, with
// `shares` cleared, for a threshold or holder count outside 2 <= threshold <= holders <= 16 or
// when the generator fails.
bool SplitThreshold(std::span<const std::uint8_t> secret, std::size_t threshold, std::size_t holders,
                    std::vector<SecureBlock>& shares);

// ThresholdShare is one holder's share, seen by the interpolation.
struct ThresholdShare {
  std::uint8_t holder;
  std::span<const std::uint8_t> values;
};

// CombineThreshold interpolates the secret from `shares` (distinct holders 1..255, all of one
// length). With at least the threshold's number of shares of one split, that is the secret;
// with fewer it is an unrelated string. Returns false, with `secret` cleared, for no shares,
// shares of different lengths, a holder 0 or a repeated holder.
bool CombineThreshold(std::span<const ThresholdShare> shares, SecureBlock& secret);

}  // namespace QVCryptoService
