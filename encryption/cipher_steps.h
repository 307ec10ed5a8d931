#pragma once

// Steps that keystore and password encryption share once each has its key.

#include <qvcryptoservice/cipher_meta.h>
#include <qvcryptoservice/keystore.h>
#include <qvcryptoservice/result.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace QVCryptoService {

// KeyFitsCipher checks a keystore key against the cipher it is about to be used with: the key
// must have been made for this cipher (checked before OpenSSL is asked anything), the cipher
// must be known, and the key's real length, its recorded length and the cipher's key length
// must agree. Returns 0, PXA_ERR_MISMATCHED_KEY or PXA_ERR_UNSUPPORTED_CIPHER.
PxaResult KeyFitsCipher(const std::string& cipherName, const SecureBlock& key, const QVKeyControlData& ctl);

// FreshIv draws a random IV of the cipher's length; PXA_ERR_UNSPECIFIED when that length cannot
// be had.
PxaResult FreshIv(const std::string& cipherName, std::vector<std::uint8_t>& iv);

// FillKeystoreRecord fills a keystore key's record: version 1, cipher, IV, key name and version.
void FillKeystoreRecord(const std::string& cipherName, std::vector<std::uint8_t> iv, const std::string& keyName,
                        std::int32_t keyVersion, CipherMeta_t& meta);

// NewPasswordKey derives a key for `cipherName` from `password` (up to its first zero byte, as
// for C callers) with the fixed PBKDF2 parameters and a fresh salt, and fills the version, cipher
// name, salt, count and digest of `meta` (not its IV). Both are untouched on failure.
PxaResult NewPasswordKey(const std::string& cipherName, const std::string& password, SecureBlock& key,
                         CipherMeta_t& meta);

// RecordPasswordKey derives the key a password record names: PXA_ERR_META_INCOMPATIBLE for a
// record that is not for `cipherName` or lacks an IV or count.
PxaResult RecordPasswordKey(const std::string& cipherName, const std::string& password, const CipherMeta_t& meta,
                            SecureBlock& key);

// EncryptWithFreshIv draws a random IV for the cipher and encrypts `length` bytes under `key`.
// Returns 0 with `iv` and `cipherText` set; PXA_ERR_UNSPECIFIED when the cipher's IV length
// cannot be had; PXA_ERR_INVALID_ARGUMENTS for input of 2 GiB or more or a null pointer; or what
// EVPEncrypt returns. The outputs are untouched on failure.
PxaResult EncryptWithFreshIv(const std::string& cipherName, const SecureBlock& key, const std::uint8_t* plain,
                             std::size_t length, std::vector<std::uint8_t>& iv, std::vector<std::uint8_t>& cipherText);

// DecryptWithRecordIv decrypts under `key` and the record's IV into `out`, which holds at least
// `length` bytes, and sets `outLength`. Returns 0, PXA_ERR_INVALID_ARGUMENTS for lengths past
// what OpenSSL takes or a null pointer, or what EVPDecrypt returns; `out` is untouched on failure.
PxaResult DecryptWithRecordIv(const std::string& cipherName, const SecureBlock& key, const CipherMeta_t& meta,
                              const std::uint8_t* cipherText, std::size_t length, std::uint8_t* out,
                              std::size_t& outLength);

// DecryptSerializedText reads a serialized cipher text and runs `decryptRaw` on its record and
// bytes into a locked buffer, which becomes `plain` on success. PXA_ERR_CORRUPTED_DATA when the
// text cannot be read; `plain` is untouched on failure.
using RawDecryption = std::function<PxaResult(const CipherMeta_t& meta, const std::uint8_t* cipherText,
                                              std::size_t length, std::uint8_t* out, std::size_t& outLength)>;
PxaResult DecryptSerializedText(std::string serialized, SecureBlock& plain, const RawDecryption& decryptRaw);

}  // namespace QVCryptoService
