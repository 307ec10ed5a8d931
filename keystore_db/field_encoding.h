#pragma once

// The byte encoding of what the keystore authenticates (a wrap's associated data, the key-set
// summary): big-endian numbers and length-prefixed strings, so that no two different inputs
// give the same bytes.

#include <cstdint>
#include <string>
#include <string_view>

namespace QVCryptoService::keystore_db {

inline void AppendNumber(std::string& out, std::uint64_t value, int bytes) {
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
    out.push_back(static_cast<char>((value >> shift) & 0xff));
  }
}

inline void AppendNumber32(std::string& out, std::int64_t value) {
  AppendNumber(out, static_cast<std::uint32_t>(value), 4);
}

inline void AppendField(std::string& out, std::string_view field) {
  AppendNumber(out, field.size(), 4);
  out.append(field);
}

}  // namespace QVCryptoService::keystore_db
