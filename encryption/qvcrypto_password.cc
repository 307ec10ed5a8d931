// Encryption and decryption under keys derived from passwords.

#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/qvcrypto.h>

#include "primitives/secret_string.h"

#include "encryption/cipher_steps.h"
#include "frame/fixed_names.h"
#include "primitives/openssl_int.h"

#include <openssl/rand.h>

#include <array>
#include <optional>

namespace QVCryptoService {

// Encryption always uses the fixed PBKDF2 parameters; decryption takes them from the record, so
// records with other parameters still decrypt.
PxaResult QVCrypto::PBEncrypt(std::string cipherName, std::string password, const std::uint8_t* plain,
                              std::size_t length, CipherMeta_t& meta, std::vector<std::uint8_t>& cipherText) const {
  const WipeOnExit wipePassword(password);
  const int keyLength = EVPGetCipherKeyLength(cipherName.c_str());
  if (keyLength < 0) {
    return PXA_ERR_UNSUPPORTED_CIPHER;
  }
  std::array<std::uint8_t, kSaltLength> salt{};
  (void)RAND_bytes(salt.data(), kSaltLength);
  SecureBlock key(static_cast<std::size_t>(keyLength));
  // The password ends at its first zero byte, as it always has for C callers.
  if (const PxaResult derived = PBKDF2_HMAC(kPbkdf2Digest, password.c_str(), salt.data(), kSaltLength,
                                            kPbkdf2Iterations, keyLength, key.data());
      derived != PXA_OK) {
    return derived;
  }
  std::vector<std::uint8_t> iv;
  if (const PxaResult result = EncryptWithFreshIv(cipherName, key, plain, length, iv, cipherText); result != PXA_OK) {
    return result;
  }
  meta.version = 1;
  meta.cipherName = cipherName;
  meta.iv = std::move(iv);
  meta.salt.assign(salt.begin(), salt.end());
  meta.iterations = kPbkdf2Iterations;
  meta.digestName = kPbkdf2Digest;
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
  if (meta.cipherName != cipherName || meta.iv.empty() || meta.iterations <= 0) {
    return PXA_ERR_META_INCOMPATIBLE;
  }
  const int keyLength = EVPGetCipherKeyLength(cipherName.c_str());
  if (keyLength < 0) {
    return PXA_ERR_UNSUPPORTED_CIPHER;
  }
  const std::optional<int> saltLength = NarrowToOpenSslInt(meta.salt.size());
  if (!saltLength) {
    return PXA_ERR_INVALID_ARGUMENTS;
  }
  SecureBlock key(static_cast<std::size_t>(keyLength));
  if (const PxaResult derived = PBKDF2_HMAC(meta.digestName.c_str(), password.c_str(), meta.salt.data(), *saltLength,
                                            static_cast<std::uint32_t>(meta.iterations), keyLength, key.data());
      derived != PXA_OK) {
    return derived;
  }
  return DecryptWithRecordIv(cipherName, key, meta, cipherText, length, out, outLength);
}

}  // namespace QVCryptoService
