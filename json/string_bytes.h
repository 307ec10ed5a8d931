#pragma once

// Word-at-a-time tests for the bytes that end a plain run inside a JSON string: a quote, a
// backslash or a control byte. The reader and the writer skip runs without them eight bytes at a
// time; which byte it is, they find one by one.

#include <cstdint>
#include <cstring>

namespace zkJson {

inline constexpr std::uint64_t kEachByte = 0x0101010101010101ULL;
inline constexpr std::uint64_t kEachHighBit = 0x8080808080808080ULL;

// LoadWord reads the eight bytes at `p`, whatever its alignment.
inline std::uint64_t LoadWord(const char* p) {
  std::uint64_t word = 0;
  std::memcpy(&word, p, sizeof word);
  return word;
}

// QuoteBackslashOrControlAmong8 is non-zero when one of the eight bytes of `word` is '"', '\\'
// or below 0x20.
inline std::uint64_t QuoteBackslashOrControlAmong8(std::uint64_t word) {
  const auto zeroByte = [](std::uint64_t x) { return (x - kEachByte) & ~x & kEachHighBit; };
  const std::uint64_t below0x20 = (word - 0x20 * kEachByte) & ~word & kEachHighBit;
  return zeroByte(word ^ ('"' * kEachByte)) | zeroByte(word ^ ('\\' * kEachByte)) | below0x20;
}

}  // namespace zkJson
