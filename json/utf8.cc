#include "json/utf8.h"

namespace zkJson {
namespace {
std::uint8_t ByteAt(const char* p) { return static_cast<std::uint8_t>(*p); }
bool IsContinuation(std::uint8_t byte) { return (byte & 0xC0U) == 0x80U; }
}  // namespace

// The ranges of the second byte follow RFC 3629 section 4: they exclude overlong forms
// (E0 80..9F, F0 80..8F), surrogates (ED A0..BF) and values above U+10FFFF (F4 90..BF).
std::size_t Utf8SequenceLength(const char* p, const char* end) {
  const std::uint8_t lead = ByteAt(p);
  std::size_t length = 0;
  std::uint8_t secondLow = 0x80;
  std::uint8_t secondHigh = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    secondLow = lead == 0xE0 ? 0xA0 : 0x80;
    secondHigh = lead == 0xED ? 0x9F : 0xBF;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    secondLow = lead == 0xF0 ? 0x90 : 0x80;
    secondHigh = lead == 0xF4 ? 0x8F : 0xBF;
  } else {
    return 0;
  }
  if (end - p < static_cast<std::ptrdiff_t>(length)) {
    return 0;
  }
  const std::uint8_t second = ByteAt(p + 1);
  if (second < secondLow || second > secondHigh) {
    return 0;
  }
  for (std::size_t i = 2; i < length; ++i) {
    if (!IsContinuation(ByteAt(p + i))) {
      return 0;
    }
  }
  return length;
}

void AppendUtf8(std::string& out, std::uint32_t codePoint) {
  if (codePoint < 0x80) {
    out.push_back(static_cast<char>(codePoint));
  } else if (codePoint < 0x800) {
    out.push_back(static_cast<char>(0xC0U | (codePoint >> 6)));
    out.push_back(static_cast<char>(0x80U | (codePoint & 0x3FU)));
  } else if (codePoint < 0x10000) {
    out.push_back(static_cast<char>(0xE0U | (codePoint >> 12)));
    out.push_back(static_cast<char>(0x80U | ((codePoint >> 6) & 0x3FU)));
    out.push_back(static_cast<char>(0x80U | (codePoint & 0x3FU)));
  } else {
    out.push_back(static_cast<char>(0xF0U | (codePoint >> 18)));
    out.push_back(static_cast<char>(0x80U | ((codePoint >> 12) & 0x3FU)));
    out.push_back(static_cast<char>(0x80U | ((codePoint >> 6) & 0x3FU)));
    out.push_back(static_cast<char>(0x80U | (codePoint & 0x3FU)));
  }
}

}  // namespace zkJson
