// Encryption and decryption under keys derived from passwords.

#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/qvcrypto.h>

#include "encryption/cipher_checks.h"
#include "frame/result_compose.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <array>

namespace QVCryptoService {
namespace {

// Encryption always uses these; decryption takes them from the record, so older or foreign
// records with other parameters still decrypt.
constexpr int kSaltLength = 16;
constexpr int kIterations = 10000;
constexpr const char* kDigestName = "sha256";
constexpr std::size_t kCipherSlack = 32;

}  // namespace

PxaResult QVCrypto::PBEncrypt(std::string cipherName, std::string password, const std::uint8_t* plain,
                              std::size_t length, CipherMeta_t& meta, std::vector<std::uint8_t>& cipherText) const {
  const int keyLength = CipherKeyLength(cipherName);
  if (keyLength < 0) {
    return PXA_ERR_UNSUPPORTED_CIPHER;
  }
  std::array<std::uint8_t, kSaltLength> salt{};
  (void)RAND_bytes(salt.data(), kSaltLength);
  SecureBlock key(static_cast<std::size_t>(keyLength));
  const EVP_MD* digest = EVP_get_digestbyname(kDigestName);
  if (digest == nullptr) {
    return PXA_ERR_UNSUPPORTED_DIGEST;
  }
  // The password ends at its first zero byte, as it always has for C callers.
  if (PKCS5_PBKDF2_HMAC(password.c_str(), static_cast<int>(std::char_traits<char>::length(password.c_str())),
                        salt.data(), kSaltLength, kIterations, digest, keyLength, key.data()) != 1) {
    return LastOpenSslResult();
  }
  const int ivLength = CipherIvLength(cipherName);
  if (ivLength < 0) {
    return PXA_ERR_UNSPECIFIED;
  }
  SecureBlock iv(static_cast<std::size_t>(ivLength));
  if (!iv.empty()) {
    (void)RAND_bytes(iv.data(), ivLength);
  }
  if (length > static_cast<std::size_t>(INT32_MAX) - kCipherSlack || (plain == nullptr && length != 0)) {
    return PXA_ERR_INVALID_ARGUMENTS;
  }
  std::vector<std::uint8_t> output(length + kCipherSlack);
  int written = static_cast<int>(output.size());
  const PxaResult result = EVPEncrypt(cipherName.c_str(), key.data(), keyLength, iv.data(), ivLength, plain,
                                      static_cast<int>(length), output.data(), written);
  if (result != PXA_OK) {
    return result;
  }
  output.resize(static_cast<std::size_t>(written));
  cipherText = std::move(output);
  meta.version = 1;
  meta.cipherName = cipherName;
  meta.iv.assign(iv.begin(), iv.end());
  meta.salt.assign(salt.begin(), salt.end());
  meta.iterations = kIterations;
  meta.digestName = kDigestName;
  return PXA_OK;
}

PxaResult QVCrypto::PBEncrypt(std::string cipherName, std::string password, SecureBlock plain,
                              std::string& cipherText) const {
  CipherMeta_t meta;
  std::vector<std::uint8_t> bytes;
  const PxaResult result = PBEncrypt(std::move(cipherName), std::move(password), plain.data(), plain.size(), meta, bytes);
  if (result == PXA_OK) {
    cipherText = SeralizeCipherData(meta, bytes);
  }
  return result;
}

PxaResult QVCrypto::PBDecrypt(std::string cipherName, std::string password, std::string cipherText,
                              SecureBlock& plain) const {
  CipherMeta_t meta;
  std::vector<std::uint8_t> bytes;
  if (!DeserialzeCipherData(std::move(cipherText), meta, bytes)) {
    return PXA_ERR_CORRUPTED_DATA;
  }
  SecureBlock output(bytes.size() + kCipherSlack);
  std::size_t written = 0;
  const PxaResult result =
      PBDecrypt(std::move(cipherName), std::move(password), meta, bytes.data(), bytes.size(), output.data(), written);
  if (result != PXA_OK) {
    return result;
  }
  output.resize(written);
  plain = std::move(output);
  return PXA_OK;
}

PxaResult QVCrypto::PBDecrypt(std::string cipherName, std::string password, const CipherMeta_t& meta,
                              const std::uint8_t* cipherText, std::size_t length, std::uint8_t* out,
                              std::size_t& outLength) const {
  if (meta.cipherName != cipherName || meta.iv.empty() || meta.iterations <= 0) {
    return PXA_ERR_META_INCOMPATIBLE;
  }
  const int keyLength = CipherKeyLength(cipherName);
  if (keyLength < 0) {
    return PXA_ERR_UNSUPPORTED_CIPHER;
  }
  if (meta.salt.size() > static_cast<std::size_t>(INT32_MAX) || length > static_cast<std::size_t>(INT32_MAX) ||
      (cipherText == nullptr && length != 0) || out == nullptr) {
    return PXA_ERR_INVALID_ARGUMENTS;
  }
  SecureBlock key(static_cast<std::size_t>(keyLength));
  if (const PxaResult derived =
          PBKDF2_HMAC(meta.digestName.c_str(), password.c_str(), meta.salt.data(), static_cast<int>(meta.salt.size()),
                      static_cast<std::uint32_t>(meta.iterations), keyLength, key.data());
      derived != PXA_OK) {
    return derived;
  }
  std::vector<std::uint8_t> iv = meta.iv;
  int written = static_cast<int>(length);
  const PxaResult result = EVPDecrypt(cipherName.c_str(), key.data(), keyLength, iv.data(), static_cast<int>(iv.size()),
                                      cipherText, static_cast<int>(length), out, written);
  if (result != PXA_OK) {
    return result;
  }
  outLength = static_cast<std::size_t>(written);
  return PXA_OK;
}

}  // namespace QVCryptoService
