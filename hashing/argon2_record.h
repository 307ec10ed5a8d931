#pragma once

// The Argon2id password-hash record (version 2). Its serialized text is the base64 of one line of
// compact JSON, like the other hashing records:
//   {"a":"argon2id","di":"<digest>","m":19456,"p":1,"sa":"<salt>","t":2,"v":2}
// It has no "dn" member, so the readers of version-1 hashing records refuse it.

#include "hashing/argon2_kdf.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace QVCryptoService {

// The bounds every record and every derivation keeps to: what a stored record may ask of a
// verification, in memory and time, is limited by these.
inline constexpr std::uint32_t kArgon2idMinMemoryKiB = 8;
inline constexpr std::uint32_t kArgon2idMaxMemoryKiB = 1048576;
// Memory is also at least this many KiB per lane.
inline constexpr std::uint32_t kArgon2idMinMemoryKiBPerLane = 8;
inline constexpr std::uint32_t kArgon2idMinPasses = 1;
inline constexpr std::uint32_t kArgon2idMaxPasses = 64;
inline constexpr std::uint32_t kArgon2idMinLanes = 1;
inline constexpr std::uint32_t kArgon2idMaxLanes = 16;
inline constexpr std::size_t kArgon2idMinSaltBytes = 8;
inline constexpr std::size_t kArgon2idMaxSaltBytes = 64;
inline constexpr std::size_t kArgon2idMinDigestBytes = 16;
inline constexpr std::size_t kArgon2idMaxDigestBytes = 64;

// The version number of the record.
inline constexpr std::int64_t kArgon2idRecordVersion = 2;

struct Argon2idHashRecord {
  Argon2idParameters parameters{};
  std::vector<std::uint8_t> salt;
  std::vector<std::uint8_t> digest;
};

// Argon2idParametersWithinBounds (password_hash.h) checks memory, passes and lanes against the
// bounds above.
// Argon2idSaltLengthWithinBounds and Argon2idDigestLengthWithinBounds: the two byte fields.
bool Argon2idSaltLengthWithinBounds(std::size_t length);
bool Argon2idDigestLengthWithinBounds(std::size_t length);

// ReadArgon2idRecord reads a serialized record; false (and `record` untouched) unless the text is
// exactly a version-2 record: the seven members above and no other, of the right JSON types,
// with every value within bounds. Never throws.
bool ReadArgon2idRecord(std::string_view serialized, Argon2idHashRecord& record);

// WriteArgon2idRecord returns the serialized text of `record`.
std::string WriteArgon2idRecord(const Argon2idHashRecord& record);

}  // namespace QVCryptoService
