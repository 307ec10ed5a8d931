#pragma once

// A fail-closed check of a password against a PBKDF2 password-hash record, for the upgrade path:
// unlike QVHashing::validatePasswordHash, which answers true when the digest is unknown, it
// verifies only what it has derived and compared itself.

#include <qvcryptoservice/hashing_records.h>
#include <qvcryptoservice/result.h>

#include <cstdint>
#include <string>

namespace QVCryptoService {

// The most iterations a PBKDF2 record may ask of a check.
inline constexpr std::int32_t kPbkdf2MaxCheckedIterations = 10000000;

// IsPbkdf2PasswordRecord: a version-1 hashing record that names a count (positive or not); such
// a record is a PBKDF2 password hash or a damaged one, never a digest or checksum.
bool IsPbkdf2PasswordRecord(const HashingData_t& record);

// CheckPbkdf2Password derives from `password` (up to its first zero byte, as the records were
// made) with the record's digest, salt and count and compares in constant time. Returns 0 with
// `verified` set; PXA_ERR_CORRUPTED_DATA for a count that is not positive or above the limit, or
// a digest outside 16..64 bytes; PXA_ERR_UNSUPPORTED_DIGEST for a digest OpenSSL does not know;
// another failure of the derivation as it comes. `verified` is false on every non-zero result.
PxaResult CheckPbkdf2Password(const std::string& password, const HashingData_t& record, bool& verified);

}  // namespace QVCryptoService
