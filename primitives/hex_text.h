#pragma once

// Bytes as lower-case hex digits, two a byte: names and ids made from random bytes.

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace QVCryptoService {

inline void AppendLowerHex(std::string& out, std::span<const std::uint8_t> bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  for (const std::uint8_t byte : bytes) {
    out += kDigits[byte >> 4];
    out += kDigits[byte & 0x0F];
  }
}

}  // namespace QVCryptoService
