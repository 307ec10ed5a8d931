#pragma once

// One-call hashing and HMAC functions with the library's fixed choices: digest "sha256", HMAC
// key "QV_HMAC_INTEGRITY_0" from the keystore registered as "ZKSystem". Results are serialized
// records (base64 one-line text); each function returns what its engine returns (QVHashing,
// QVSigning). Checksum and digest lengths are 32-bit signed counts, HMAC lengths 64-bit unsigned.

#include <qvcryptoservice/qvcs_export.h>
#include <qvcryptoservice/result.h>

#include <cstdint>
#include <string>

namespace QVCryptoService {

// CreateChecksum: the plain SHA-256 of the data; equal data gives equal texts.
QVCS_EXPORT PxaResult CreateChecksum(const std::uint8_t* data, std::int32_t length, std::string& checksum);
QVCS_EXPORT PxaResult CreateChecksum(const std::string& data, std::string& checksum);
QVCS_EXPORT bool VerifyChecksum(const std::uint8_t* data, std::int32_t length, const std::string& checksum);
QVCS_EXPORT bool VerifyChecksum(const std::string& data, const std::string& checksum);

// CreateDigest: a salted SHA-256; equal data gives different texts that all verify.
QVCS_EXPORT PxaResult CreateDigest(const std::uint8_t* data, std::int32_t length, std::string& digest);
QVCS_EXPORT PxaResult CreateDigest(const std::string& data, std::string& digest);
QVCS_EXPORT bool VerifyDigest(const std::uint8_t* data, std::int32_t length, const std::string& digest);
QVCS_EXPORT bool VerifyDigest(const std::string& data, const std::string& digest);

// CreateDerivedKey: base64 of a 32-byte key derived from the password alone (same password, same
// key). PXA_ERR_INVALID_ARGUMENTS for an empty password.
QVCS_EXPORT PxaResult CreateDerivedKey(const std::string& password, std::string& keyBase64);

// CreatePasswordHash / VerifyPasswordHash: PBKDF2-HMAC-SHA256 with a random salt.
QVCS_EXPORT PxaResult CreatePasswordHash(const std::string& password, std::string& passwordHash);
QVCS_EXPORT bool VerifyPasswordHash(const std::string& password, const std::string& passwordHash);

// CreateHMAC: all 64 bits set when no "ZKSystem" keystore is registered; the keystore's code
// under family 1 when the key cannot be fetched.
QVCS_EXPORT PxaResult CreateHMAC(const std::uint8_t* data, std::uint64_t length, std::string& hmac);
QVCS_EXPORT PxaResult CreateHMAC(const std::string& data, std::string& hmac);
QVCS_EXPORT bool VerifyHMAC(const std::uint8_t* data, std::uint64_t length, const std::string& hmac);
QVCS_EXPORT bool VerifyHMAC(const std::string& data, const std::string& hmac);

}  // namespace QVCryptoService
