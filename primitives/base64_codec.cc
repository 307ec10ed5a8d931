#include "primitives/base64_codec.h"

#include <array>

namespace QVCryptoService {
namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t kNotBase64 = 0xFF;

constexpr std::array<std::uint8_t, 256> MakeSextets() {
  std::array<std::uint8_t, 256> table{};
  for (auto& entry : table) {
    entry = kNotBase64;
  }
  for (std::size_t i = 0; i < kAlphabet.size(); ++i) {
    table[static_cast<std::uint8_t>(kAlphabet[i])] = static_cast<std::uint8_t>(i);
  }
  return table;
}

constexpr std::array<std::uint8_t, 256> kSextets = MakeSextets();

std::uint8_t SextetOf(char c) { return kSextets[static_cast<std::uint8_t>(c)]; }

}  // namespace

void AppendBase64(std::string& out, const std::uint8_t* data, std::size_t size) {
  out.reserve(out.size() + (size + 2) / 3 * 4);
  std::size_t i = 0;
  for (; i + 3 <= size; i += 3) {
    const std::uint32_t group = (std::uint32_t{data[i]} << 16) | (std::uint32_t{data[i + 1]} << 8) | data[i + 2];
    out.push_back(kAlphabet[(group >> 18) & 0x3F]);
    out.push_back(kAlphabet[(group >> 12) & 0x3F]);
    out.push_back(kAlphabet[(group >> 6) & 0x3F]);
    out.push_back(kAlphabet[group & 0x3F]);
  }
  const std::size_t rest = size - i;
  if (rest == 0) {
    return;
  }
  const std::uint32_t group = (std::uint32_t{data[i]} << 16) | (rest == 2 ? std::uint32_t{data[i + 1]} << 8 : 0U);
  out.push_back(kAlphabet[(group >> 18) & 0x3F]);
  out.push_back(kAlphabet[(group >> 12) & 0x3F]);
  out.push_back(rest == 2 ? kAlphabet[(group >> 6) & 0x3F] : '=');
  out.push_back('=');
}

bool DecodeBase64(std::string_view text, std::vector<std::uint8_t>& bytes, Base64Form form) {
  bytes.clear();
  if (text.size() % 4 != 0) {
    return false;
  }
  bytes.reserve(text.size() / 4 * 3);
  for (std::size_t i = 0; i < text.size(); i += 4) {
    const bool last = i + 4 == text.size();
    std::size_t padding = 0;
    if (last && text[i + 3] == '=') {
      padding = text[i + 2] == '=' ? 2 : 1;
    }
    std::uint32_t group = 0;
    for (std::size_t j = 0; j < 4 - padding; ++j) {
      const std::uint8_t sextet = SextetOf(text[i + j]);
      if (sextet == kNotBase64) {
        return false;
      }
      group |= std::uint32_t{sextet} << (18 - 6 * j);
    }
    // In canonical text the bits that padding leaves unused are zero, or two texts would give
    // the same bytes.
    if (form == Base64Form::kCanonical &&
        ((padding == 1 && (group & 0xFFU) != 0) || (padding == 2 && (group & 0xFFFFU) != 0))) {
      return false;
    }
    bytes.push_back(static_cast<std::uint8_t>(group >> 16));
    if (padding < 2) {
      bytes.push_back(static_cast<std::uint8_t>(group >> 8));
    }
    if (padding < 1) {
      bytes.push_back(static_cast<std::uint8_t>(group));
    }
  }
  return true;
}

}  // namespace QVCryptoService
