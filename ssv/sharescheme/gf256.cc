#include "ssv/sharescheme/gf256.h"

#include "ssv/sharescheme/constant_time.h"

#include <openssl/crypto.h>

namespace QVCryptoService::sharescheme {

namespace {

// TimesX multiplies every element by x: a shift of the bit planes, and where bit 7 falls out,
// the reduction x^8 = x^4 + x^3 + x + 1 adds it back into bits 0, 1, 3 and 4.
Gf256Lanes TimesX(const Gf256Lanes& a) {
  Gf256Lanes result;
  const std::uint32_t overflow = a.bits[7];
  for (std::size_t b = 7; b > 0; --b) {
    result.bits[b] = a.bits[b - 1];
  }
  result.bits[0] = overflow;
  result.bits[1] ^= overflow;
  result.bits[3] ^= overflow;
  result.bits[4] ^= overflow;
  return result;
}

}  // namespace

Gf256Lanes Gf256Load(std::span<const std::uint8_t, kGf256Lanes> bytes) {
  Gf256Lanes lanes;
  for (std::size_t b = 0; b < 8; ++b) {
    std::uint32_t plane = 0;
    for (std::size_t i = 0; i < kGf256Lanes; ++i) {
      plane |= static_cast<std::uint32_t>((bytes[i] >> b) & 1U) << i;
    }
    lanes.bits[b] = plane;
  }
  return lanes;
}

void Gf256Store(const Gf256Lanes& lanes, std::span<std::uint8_t, kGf256Lanes> bytes) {
  for (std::size_t i = 0; i < kGf256Lanes; ++i) {
    std::uint32_t value = 0;
    for (std::size_t b = 0; b < 8; ++b) {
      value |= ((lanes.bits[b] >> i) & 1U) << b;
    }
    bytes[i] = static_cast<std::uint8_t>(value);
  }
}

Gf256Lanes Gf256Broadcast(std::uint8_t value) {
  Gf256Lanes lanes;
  for (std::size_t b = 0; b < 8; ++b) {
    lanes.bits[b] = MaskFromBit(static_cast<std::uint32_t>(value) >> b);
  }
  return lanes;
}

Gf256Lanes Gf256Add(const Gf256Lanes& a, const Gf256Lanes& b) {
  Gf256Lanes sum;
  for (std::size_t i = 0; i < 8; ++i) {
    sum.bits[i] = a.bits[i] ^ b.bits[i];
  }
  return sum;
}

Gf256Lanes Gf256Multiply(const Gf256Lanes& a, const Gf256Lanes& b) {
  // Horner's rule over the bits of b, from the top: product = product * x + a * b_bit. The bit
  // plane of b is itself the per-element mask that adds a or not.
  Gf256Lanes product;
  for (std::size_t bit = 8; bit-- > 0;) {
    product = TimesX(product);
    for (std::size_t plane = 0; plane < 8; ++plane) {
      product.bits[plane] ^= a.bits[plane] & b.bits[bit];
    }
  }
  return product;
}

Gf256Lanes Gf256Inverse(const Gf256Lanes& a) {
  // a^254 = a^2 * a^4 * ... * a^128: seven squarings and six multiplications in a fixed order.
  Gf256Lanes power = Gf256Multiply(a, a);
  Gf256Lanes inverse = power;
  for (int step = 0; step < 6; ++step) {
    power = Gf256Multiply(power, power);
    inverse = Gf256Multiply(inverse, power);
  }
  Gf256Wipe(power);
  return inverse;
}

void Gf256Wipe(Gf256Lanes& lanes) { OPENSSL_cleanse(lanes.bits.data(), sizeof lanes.bits); }

}  // namespace QVCryptoService::sharescheme
