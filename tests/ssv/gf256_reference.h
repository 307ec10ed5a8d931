#pragma once

// Plain GF(2^8) arithmetic in the AES field; it branches on its inputs, fine in a test only.

#include <cstdint>

namespace testsupport {

inline std::uint8_t ReferenceMultiply(std::uint8_t a, std::uint8_t b) {
  unsigned product = 0;
  unsigned shifted = a;
  for (int bit = 0; bit < 8; ++bit) {
    if ((b >> bit) & 1) {
      product ^= shifted;
    }
    shifted = (shifted << 1) ^ (shifted & 0x80 ? 0x11B : 0);
  }
  return static_cast<std::uint8_t>(product);
}

inline std::uint8_t ReferenceInverse(std::uint8_t a) {
  for (unsigned candidate = 1; candidate < 256; ++candidate) {
    if (ReferenceMultiply(a, static_cast<std::uint8_t>(candidate)) == 1) {
      return static_cast<std::uint8_t>(candidate);
    }
  }
  return 0;
}

}  // namespace testsupport
