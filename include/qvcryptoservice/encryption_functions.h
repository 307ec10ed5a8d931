#pragma once

// One-call encryption with the library's fixed choices: "aes-256-cbc", and for keystore keys the
// key "QV_ENCYPT_DECRYPT_0" (the spelling is part of the interface: it names stored keys). Each
// function returns what the encryption engine returns; see QVCrypto.

#include <qvcryptoservice/qvcs_export.h>
#include <qvcryptoservice/result.h>
#include <qvcryptoservice/secure_block.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace QVCryptoService {

// EncryptData encrypts under the current version of "QV_ENCYPT_DECRYPT_0" in the keystore
// `keystoreName` ("ZKSystem" when empty) and returns the serialized cipher text. All 64 bits set
// when the keystore is not registered.
QVCS_EXPORT PxaResult EncryptData(const std::uint8_t* plain, std::size_t length, std::string& cipherText,
                                  const std::string& keystoreName);
QVCS_EXPORT PxaResult EncryptData(const SecureBlock& plain, std::string& cipherText, const std::string& keystoreName);
QVCS_EXPORT PxaResult EncryptData(const std::string& plain, std::string& cipherText, const std::string& keystoreName);

// DecryptData reverses EncryptData; PXA_ERR_CORRUPTED_DATA for a text that is not a cipher text.
QVCS_EXPORT PxaResult DecryptData(const std::string& cipherText, SecureBlock& plain, const std::string& keystoreName);

// EncryptWithPassword encrypts under a key derived from `password` (PBKDF2-HMAC-SHA256, 10000
// iterations, random salt) and returns the serialized cipher text.
QVCS_EXPORT PxaResult EncryptWithPassword(const std::uint8_t* plain, std::size_t length, const std::string& password,
                                          std::string& cipherText);
QVCS_EXPORT PxaResult EncryptWithPassword(const std::string& plain, const std::string& password,
                                          std::string& cipherText);
QVCS_EXPORT PxaResult EncryptWithPassword(const SecureBlock& plain, const std::string& password,
                                          std::string& cipherText);
// EncryptWithPassword (five arguments) returns the record's JSON text (without the cipher text)
// in `metaJson` and the raw cipher text in `cipherBytes`; `metaJson` is written only on success.
QVCS_EXPORT PxaResult EncryptWithPassword(const std::uint8_t* plain, std::size_t length, const std::string& password,
                                          std::string& metaJson, std::vector<std::uint8_t>& cipherBytes);

// DecryptWithPassword (six arguments) decrypts raw cipher text described by `metaJson` into
// `out`, which must hold `length` bytes, and sets `plainLength`; both are written only on
// success. PXA_ERR_CORRUPTED_DATA when `metaJson` is not a record. `metaJson` is only read; the
// non-const reference is part of the interface.
QVCS_EXPORT PxaResult DecryptWithPassword(std::string& metaJson, const std::uint8_t* cipherText, std::size_t length,
                                          const std::string& password, std::uint8_t* out, std::size_t& plainLength);
// DecryptWithPassword (three arguments) reverses the text-producing forms.
QVCS_EXPORT PxaResult DecryptWithPassword(const std::string& cipherText, const std::string& password,
                                          SecureBlock& plain);

}  // namespace QVCryptoService
