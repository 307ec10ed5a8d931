#include "ssv/component_id.h"

#include <openssl/rand.h>

#include <algorithm>
#include <array>
#include <cstdio>

namespace QVCryptoService {

std::string FormatComponentId(std::span<const std::uint8_t, kComponentIdRandomBytes> randomBytes) {
  std::array<std::uint8_t, kComponentIdRandomBytes> b{};
  std::copy(randomBytes.begin(), randomBytes.end(), b.begin());
  // Version 4 goes into the high nibble of byte 7, because bytes 6 and 7 form a little-endian
  // word; variant 10b into the top bits of byte 8.
  b[7] = static_cast<std::uint8_t>((b[7] & 0x0F) | 0x40);
  b[8] = static_cast<std::uint8_t>((b[8] & 0x3F) | 0x80);
  // The first three fields print as little-endian words, so their hex is not in byte order.
  // Deliberate and kept for compatibility: existing ids were made this way.
  const auto word = [&b](std::size_t at, std::size_t bytes) {
    unsigned value = 0;
    for (std::size_t i = bytes; i-- > 0;) {
      value = (value << 8) | b[at + i];
    }
    return value;
  };
  const unsigned first = word(0, 4);
  const unsigned second = word(4, 2);
  const unsigned third = word(6, 2);
  std::array<char, kComponentIdSize + 1> text{};
  std::snprintf(text.data(), text.size(), "%08x%04x%04x%02x%02x%02x%02x%02x%02x%02x%02x", first, second, third, b[8],
                b[9], b[10], b[11], b[12], b[13], b[14], b[15]);
  return std::string(text.data(), kComponentIdSize);
}

bool NewComponentId(std::string& id) {
  std::array<std::uint8_t, kComponentIdRandomBytes> randomBytes{};
  if (RAND_bytes(randomBytes.data(), static_cast<int>(randomBytes.size())) != 1) {
    return false;
  }
  id = FormatComponentId(randomBytes);
  return true;
}

}  // namespace QVCryptoService
