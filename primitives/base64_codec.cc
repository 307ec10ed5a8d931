#include "primitives/base64_codec.h"

#include "primitives/base64_paths.h"

#include <array>
#include <cstring>

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

// Every pair of output characters for a 12-bit value: one table look-up per two characters.
constexpr std::array<std::array<char, 2>, 4096> MakePairs() {
  std::array<std::array<char, 2>, 4096> table{};
  for (std::size_t value = 0; value < table.size(); ++value) {
    table[value] = {kAlphabet[value >> 6], kAlphabet[value & 0x3F]};
  }
  return table;
}

constexpr std::array<std::array<char, 2>, 4096> kPairs = MakePairs();

// Decodes one group of four characters into `group`; false for a character outside the alphabet.
bool DecodeGroup(const char* text, std::size_t characters, std::uint32_t& group) {
  group = 0;
  std::uint8_t seen = 0;
  for (std::size_t j = 0; j < characters; ++j) {
    const std::uint8_t sextet = SextetOf(text[j]);
    seen |= sextet;
    group |= std::uint32_t{sextet} << (18 - 6 * j);
  }
  // kNotBase64 is the only table entry with its top bits set.
  return (seen & 0xC0U) == 0;
}

// Encodes whole groups and the padded tail through a pointer into storage sized by the caller.
void EncodeScalar(const std::uint8_t* data, std::size_t size, char* write) {
  std::size_t i = 0;
  for (; i + 3 <= size; i += 3, write += 4) {
    const std::uint32_t group = (std::uint32_t{data[i]} << 16) | (std::uint32_t{data[i + 1]} << 8) | data[i + 2];
    std::memcpy(write, kPairs[group >> 12].data(), 2);
    std::memcpy(write + 2, kPairs[group & 0xFFF].data(), 2);
  }
  const std::size_t rest = size - i;
  if (rest == 0) {
    return;
  }
  const std::uint32_t group = (std::uint32_t{data[i]} << 16) | (rest == 2 ? std::uint32_t{data[i + 1]} << 8 : 0U);
  write[0] = kAlphabet[(group >> 18) & 0x3F];
  write[1] = kAlphabet[(group >> 12) & 0x3F];
  write[2] = rest == 2 ? kAlphabet[(group >> 6) & 0x3F] : '=';
  write[3] = '=';
}

// Decodes whole groups of the alphabet (no padding) and returns the number of bytes written, or
// kNotDecoded.
std::size_t DecodeWholeGroupsScalar(const char* read, const char* end, std::uint8_t* write) {
  const std::uint8_t* const start = write;
  for (; read < end; read += 4, write += 3) {
    const std::uint32_t a = SextetOf(read[0]);
    const std::uint32_t b = SextetOf(read[1]);
    const std::uint32_t c = SextetOf(read[2]);
    const std::uint32_t d = SextetOf(read[3]);
    // kNotBase64 is the only table entry with its top bits set.
    if (((a | b | c | d) & 0xC0U) != 0) {
      return kNotDecoded;
    }
    const std::uint32_t group = (a << 18) | (b << 12) | (c << 6) | d;
    write[0] = static_cast<std::uint8_t>(group >> 16);
    write[1] = static_cast<std::uint8_t>(group >> 8);
    write[2] = static_cast<std::uint8_t>(group);
  }
  return static_cast<std::size_t>(write - start);
}

// The last group: two to four characters of the alphabet, padded to four.
std::size_t DecodeLastGroup(const char* read, std::uint8_t* write, Base64Form form) {
  std::size_t padding = 0;
  if (read[3] == '=') {
    padding = read[2] == '=' ? 2 : 1;
  }
  std::uint32_t group = 0;
  if (!DecodeGroup(read, 4 - padding, group)) {
    return kNotDecoded;
  }
  // In canonical text the bits that padding leaves unused are zero, or two texts would give the
  // same bytes.
  if (form == Base64Form::kCanonical &&
      ((padding == 1 && (group & 0xFFU) != 0) || (padding == 2 && (group & 0xFFFFU) != 0))) {
    return kNotDecoded;
  }
  write[0] = static_cast<std::uint8_t>(group >> 16);
  if (padding < 2) {
    write[1] = static_cast<std::uint8_t>(group >> 8);
  }
  if (padding < 1) {
    write[2] = static_cast<std::uint8_t>(group);
  }
  return 3 - padding;
}

}  // namespace

Base64Path ChosenBase64Path() noexcept {
  static const Base64Path chosen = Base64PathRuns(Base64Path::kAvx2)    ? Base64Path::kAvx2
                                   : Base64PathRuns(Base64Path::kSsse3) ? Base64Path::kSsse3
                                                                        : Base64Path::kScalar;
  return chosen;
}

// Output is written through a pointer into storage sized once: appending character by character
// cost more than the encoding itself on large records. The vector paths take the front of the
// data in whole steps; the scalar code finishes the rest, padding included.
void AppendBase64On(Base64Path path, std::string& out, const std::uint8_t* data, std::size_t size) {
  const std::size_t start = out.size();
  out.resize(start + (size + 2) / 3 * 4);
  char* write = out.data() + start;
  std::size_t consumed = 0;
  if (path == Base64Path::kAvx2) {
    consumed = EncodeBase64Avx2(data, size, write);
  } else if (path == Base64Path::kSsse3) {
    consumed = EncodeBase64Ssse3(data, size, write);
  }
  EncodeScalar(data + consumed, size - consumed, write + consumed / 3 * 4);
}

void AppendBase64(std::string& out, const std::uint8_t* data, std::size_t size) {
  AppendBase64On(ChosenBase64Path(), out, data, size);
}

std::size_t DecodeBase64IntoOn(Base64Path path, std::string_view text, std::uint8_t* out, Base64Form form) {
  if (text.size() % 4 != 0) {
    return kNotDecoded;
  }
  if (text.empty()) {
    return 0;
  }
  // Every group but the last is whole: four characters of the alphabet, three bytes.
  const std::size_t wholeGroups = text.size() - 4;
  std::size_t consumed = 0;
  if (path == Base64Path::kAvx2) {
    consumed = DecodeBase64Avx2(text.data(), wholeGroups, out);
  } else if (path == Base64Path::kSsse3) {
    consumed = DecodeBase64Ssse3(text.data(), wholeGroups, out);
  }
  if (consumed == kNotDecoded) {
    return kNotDecoded;
  }
  const std::size_t rest =
      DecodeWholeGroupsScalar(text.data() + consumed, text.data() + wholeGroups, out + consumed / 4 * 3);
  if (rest == kNotDecoded) {
    return kNotDecoded;
  }
  const std::size_t written = consumed / 4 * 3 + rest;
  const std::size_t last = DecodeLastGroup(text.data() + wholeGroups, out + written, form);
  return last == kNotDecoded ? kNotDecoded : written + last;
}

std::size_t DecodeBase64Into(std::string_view text, std::uint8_t* out, Base64Form form) {
  return DecodeBase64IntoOn(ChosenBase64Path(), text, out, form);
}

bool DecodeBase64(std::string_view text, std::vector<std::uint8_t>& bytes, Base64Form form) {
  bytes.resize(text.size() / 4 * 3);
  const std::size_t written = DecodeBase64Into(text, bytes.data(), form);
  if (written == kNotDecoded) {
    bytes.clear();
    return false;
  }
  bytes.resize(written);
  return true;
}

}  // namespace QVCryptoService
