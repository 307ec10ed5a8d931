#pragma once

// Thin wrappers over OpenSSL that report through result values (see result.h).

#include <qvcryptoservice/qvcs_export.h>
#include <qvcryptoservice/result.h>
#include <qvcryptoservice/secure_block.h>

#include <cstdint>
#include <string>

namespace QVCryptoService {

// EVPRandomBytes fills `n` bytes of `buf` from OpenSSL's generator; false when it refuses.
// EVPRandomIV and EVPRandomSalt do the same and exist to say what the bytes are for.
QVCS_EXPORT bool EVPRandomBytes(unsigned char* buf, std::uint32_t n);
QVCS_EXPORT bool EVPRandomIV(unsigned char* buf, std::uint32_t n);
QVCS_EXPORT bool EVPRandomSalt(unsigned char* buf, std::uint32_t n);

// EVPGetCipherKeyLength, EVPGetCipherIvLength and EVPGetCipherBlockSize return the named
// cipher's key length, IV length and block size in bytes, or -1 when OpenSSL does not know it.
QVCS_EXPORT int EVPGetCipherKeyLength(const char* cipherName);
QVCS_EXPORT int EVPGetCipherIvLength(const char* cipherName);
QVCS_EXPORT int EVPGetCipherBlockSize(const char* cipherName);

// EVPEncrypt encrypts `inLen` bytes in one shot with PKCS#7 padding. `outLen` holds the
// capacity of `out` on entry and the number of bytes written on return; the output needs
// room for `inLen` plus one cipher block. Returns 0, PXA_ERR_UNSUPPORTED_CIPHER for an unknown
// name, PXA_ERR_MISMATCHED_KEY for a wrong key length (checked first), PXA_ERR_INVALID_IV_LEN
// for a wrong IV length, PXA_ERR_INVALID_ARGUMENTS for a null or too small buffer or a negative
// length, or an OpenSSL-family value.
QVCS_EXPORT PxaResult EVPEncrypt(const char* cipherName, const unsigned char* key, int keyLen, unsigned char* iv,
                                 int ivLen, const unsigned char* in, int inLen, unsigned char* out, int& outLen);

// EVPDecrypt reverses EVPEncrypt; `out` needs room for `inLen` bytes. A wrong key or damaged
// data usually ends in a padding failure, reported as an OpenSSL-family value.
QVCS_EXPORT PxaResult EVPDecrypt(const char* cipherName, const unsigned char* key, int keyLen, unsigned char* iv,
                                 int ivLen, const unsigned char* in, int inLen, unsigned char* out, int& outLen);

// EVPEncrypt with a SecureBlock key makes a fresh random IV, stores it in `iv` and the cipher
// text in `cipherText`. Returns what the one-shot form returns; PXA_ERR_UNSUPPORTED_CIPHER for an
// unknown name; PXA_ERR_INVALID_ARGUMENTS, with nothing written, for a text or key longer than
// OpenSSL's int counts take (2 GiB less 32 bytes and more). On failure `cipherText` holds
// whatever the cipher wrote (usually nothing).
QVCS_EXPORT PxaResult EVPEncrypt(const char* cipherName, const SecureBlock& key, std::string& iv,
                                 const std::string& plain, std::string& cipherText);

// EVPDecrypt with a SecureBlock key decrypts `cipherText` under `iv` into `plain`. On failure
// `plain` is left empty or holds what was decrypted before the failure was detected. Lengths as
// for EVPEncrypt; a refused one leaves `plain` empty.
QVCS_EXPORT PxaResult EVPDecrypt(const char* cipherName, const SecureBlock& key, const std::string& iv,
                                 std::string cipherText, std::string& plain);

// EVPDigest hashes `len` bytes with the named digest into `out`; `outLen` holds the capacity
// on entry and the digest length on return. Returns 0, PXA_ERR_UNSUPPORTED_DIGEST,
// PXA_ERR_INVALID_ARGUMENTS for a null or too small buffer, or an OpenSSL-family value.
QVCS_EXPORT PxaResult EVPDigest(const char* digestName, const unsigned char* data, int len, unsigned char* out,
                                int& outLen);

// EVPHMAC computes the HMAC of `data` under `key` with the named digest, like EVPDigest.
QVCS_EXPORT PxaResult EVPHMAC(const char* digestName, const unsigned char* key, int keyLen, const unsigned char* data,
                              int dataLen, unsigned char* out, int& outLen);

// PBKDF2_HMAC derives `keyLen` bytes into `out` from the zero-terminated `password`. Returns 0,
// PXA_ERR_UNSUPPORTED_DIGEST, PXA_ERR_INVALID_ARGUMENTS for null pointers, negative lengths, or a
// password or iteration count past OpenSSL's int, or an OpenSSL-family value (zero iterations,
// for one).
QVCS_EXPORT PxaResult PBKDF2_HMAC(const char* digestName, const char* password, const unsigned char* salt, int saltLen,
                                  std::uint32_t iterations, int keyLen, unsigned char* out);

// base64_encode returns standard base64 with "=" padding on one line; empty input gives "".
QVCS_EXPORT std::string base64_encode(const unsigned char* data, std::uint32_t len);

// base64_decode returns the decoded bytes of single-line base64 text. Text that is not base64
// gives the bytes decoded before the fault, or nothing.
QVCS_EXPORT std::string base64_decode(const std::string& text);

}  // namespace QVCryptoService
