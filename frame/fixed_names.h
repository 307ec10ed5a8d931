#pragma once

// The fixed choices of the one-call functions. "QV_ENCYPT_DECRYPT_0" is misspelled on purpose:
// it names keys that keystores already hold.

namespace QVCryptoService {

inline constexpr const char* kFixedCipher = "aes-256-cbc";
inline constexpr const char* kFixedEncryptionKey = "QV_ENCYPT_DECRYPT_0";
inline constexpr const char* kFixedDigest = "sha256";
inline constexpr const char* kFixedIntegrityKey = "QV_HMAC_INTEGRITY_0";

}  // namespace QVCryptoService
