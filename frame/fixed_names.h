#pragma once

// The library's fixed choices: the cipher, digest and keys of the one-call functions, the cipher
// of SSV encryption, and the PBKDF2 parameters of password-based encryption and password hashes.
// "QV_ENCYPT_DECRYPT_0" is misspelled on purpose: it names keys that keystores already hold.

#include <cstddef>

namespace QVCryptoService {

inline constexpr const char* kFixedCipher = "aes-256-cbc";
inline constexpr std::size_t kFixedCipherKeyLength = 32;
inline constexpr std::size_t kFixedCipherIvLength = 16;
inline constexpr std::size_t kFixedCipherBlockLength = 16;

inline constexpr const char* kFixedEncryptionKey = "QV_ENCYPT_DECRYPT_0";
inline constexpr const char* kFixedDigest = "sha256";
inline constexpr const char* kFixedIntegrityKey = "QV_HMAC_INTEGRITY_0";

// Password-based keys and password hashes are made with these; records made elsewhere carry
// their own digest, salt and iteration count and are read with those.
inline constexpr const char* kPbkdf2Digest = kFixedDigest;
inline constexpr int kPbkdf2Iterations = 10000;
inline constexpr int kSaltLength = 16;
inline constexpr int kPasswordHashLength = 32;

}  // namespace QVCryptoService
