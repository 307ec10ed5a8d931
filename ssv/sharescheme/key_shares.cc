#include "ssv/sharescheme/key_shares.h"

#include "ssv/sharescheme/gf256.h"

#include <qvcryptoservice/secure_block.h>

namespace QVCryptoService::sharescheme {

namespace {

constexpr std::size_t kCoefficientCount = kKeyShareCount - 1;

std::span<const std::uint8_t, kSharedKeySize> Block(const SecureBlock& bytes, std::size_t index) {
  return std::span<const std::uint8_t, kSharedKeySize>(bytes.data() + index * kSharedKeySize, kSharedKeySize);
}

}  // namespace

bool CreateKeyShares(std::span<const std::uint8_t, kSharedKeySize> key,
                     std::span<std::uint8_t, kKeyShareCount * kKeyShareSize> keyShares, RandomSource random) {
  SecureBlock coefficientBytes(kCoefficientCount * kSharedKeySize);
  if (!random(coefficientBytes.data(), coefficientBytes.size())) {
    return false;
  }
  std::array<Gf256Lanes, kCoefficientCount> coefficients;
  for (std::size_t c = 0; c < kCoefficientCount; ++c) {
    coefficients[c] = Gf256Load(Block(coefficientBytes, c));
  }
  Gf256Lanes constant = Gf256Load(key);
  for (std::size_t share = 0; share < kKeyShareCount; ++share) {
    const auto x = static_cast<std::uint8_t>(share + 1);
    const Gf256Lanes xLanes = Gf256Broadcast(x);
    Gf256Lanes power = xLanes;
    Gf256Lanes value = constant;
    for (std::size_t c = 0; c < kCoefficientCount; ++c) {
      value = Gf256Add(value, Gf256Multiply(coefficients[c], power));
      power = Gf256Multiply(power, xLanes);
    }
    std::uint8_t* out = keyShares.data() + share * kKeyShareSize;
    out[0] = x;
    Gf256Store(value, std::span<std::uint8_t, kSharedKeySize>(out + 1, kSharedKeySize));
    Gf256Wipe(value);
  }
  for (Gf256Lanes& coefficient : coefficients) {
    Gf256Wipe(coefficient);
  }
  Gf256Wipe(constant);
  return true;
}

// The five Lagrange bases at zero depend on the x values only, so they are computed side by
// side: numerator k in lane k, denominator k in lane 8 + k, so that each factor of all ten
// products is one bit-sliced multiplication. Field arithmetic is exact, so the key is the one the
// share-by-share order gives; unused lanes hold zero factors and end as zero.
void CombineKeyShares(const std::array<KeyShareView, kKeyShareCount>& keyShares,
                      std::span<std::uint8_t, kSharedKeySize> key) {
  constexpr std::size_t kDenominatorLane = 8;
  static_assert(kDenominatorLane + kKeyShareCount <= kGf256Lanes / 2);
  Gf256Lanes products = Gf256Broadcast(1);
  for (std::size_t m = 0; m + 1 < kKeyShareCount; ++m) {
    // Lane k takes the m-th share other than k: x_j, and beside it x_j - x_k (XOR).
    std::array<std::uint8_t, kGf256Lanes / 2> factors{};
    for (std::size_t k = 0; k < kKeyShareCount; ++k) {
      const std::size_t j = m < k ? m : m + 1;
      factors[k] = keyShares[j][0];
      factors[kDenominatorLane + k] = static_cast<std::uint8_t>(keyShares[j][0] ^ keyShares[k][0]);
    }
    products = Gf256Multiply(products, Gf256LoadHalf(factors));
  }
  // The inverted denominators move down into the numerators' lanes.
  Gf256Lanes inverses = Gf256Inverse(products);
  for (std::uint32_t& plane : inverses.bits) {
    plane >>= kDenominatorLane;
  }
  const Gf256Lanes bases = Gf256Multiply(products, inverses);
  Gf256Lanes accumulated;
  for (std::size_t k = 0; k < kKeyShareCount; ++k) {
    Gf256Lanes term = Gf256Multiply(Gf256LaneBroadcast(bases, k), Gf256Load(keyShares[k].subspan<1, kSharedKeySize>()));
    accumulated = Gf256Add(accumulated, term);
    Gf256Wipe(term);
  }
  Gf256Store(accumulated, key);
  Gf256Wipe(accumulated);
}

}  // namespace QVCryptoService::sharescheme
