// Encryption and decryption under keys derived from passwords.

#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/qvcrypto.h>

#include "primitives/secret_string.h"

#include "encryption/cipher_steps.h"

#include <utility>

namespace QVCryptoService {

PxaResult QVCrypto::PBEncrypt(std::string cipherName, std::string password, const std::uint8_t* plain,
                              std::size_t length, CipherMeta_t& meta, std::vector<std::uint8_t>& cipherText) const {
  const WipeOnExit wipePassword(password);
  SecureBlock key;
  CipherMeta_t record;
  if (const PxaResult derived = NewPasswordKey(cipherName, password, key, record); derived != PXA_OK) {
    return derived;
  }
  if (const PxaResult result = EncryptWithFreshIv(cipherName, key, plain, length, record.iv, cipherText);
      result != PXA_OK) {
    return result;
  }
  // Only the members a password record has: whatever else the caller's record holds stays.
  meta.version = record.version;
  meta.cipherName = std::move(record.cipherName);
  meta.iv = std::move(record.iv);
  meta.salt = std::move(record.salt);
  meta.iterations = record.iterations;
  meta.digestName = std::move(record.digestName);
  return PXA_OK;
}

PxaResult QVCrypto::PBEncrypt(std::string cipherName, std::string password, SecureBlock plain,
                              std::string& cipherText) const {
  const WipeOnExit wipePassword(password);
  CipherMeta_t meta;
  std::vector<std::uint8_t> bytes;
  const PxaResult result =
      PBEncrypt(std::move(cipherName), std::move(password), plain.data(), plain.size(), meta, bytes);
  if (result == PXA_OK) {
    cipherText = SeralizeCipherData(meta, bytes);
  }
  return result;
}

PxaResult QVCrypto::PBDecrypt(std::string cipherName, std::string password, std::string cipherText,
                              SecureBlock& plain) const {
  const WipeOnExit wipePassword(password);
  return DecryptSerializedText(
      std::move(cipherText), plain,
      [&](const CipherMeta_t& meta, const std::uint8_t* bytes, std::size_t length, std::uint8_t* out,
          std::size_t& outLength) { return PBDecrypt(cipherName, password, meta, bytes, length, out, outLength); });
}

PxaResult QVCrypto::PBDecrypt(std::string cipherName, std::string password, const CipherMeta_t& meta,
                              const std::uint8_t* cipherText, std::size_t length, std::uint8_t* out,
                              std::size_t& outLength) const {
  const WipeOnExit wipePassword(password);
  SecureBlock key;
  if (const PxaResult derived = RecordPasswordKey(cipherName, password, meta, key); derived != PXA_OK) {
    return derived;
  }
  return DecryptWithRecordIv(cipherName, key, meta, cipherText, length, out, outLength);
}

}  // namespace QVCryptoService
