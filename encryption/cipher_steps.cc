#include "encryption/cipher_steps.h"

#include <qvcryptoservice/primitives.h>

#include "frame/fixed_names.h"
#include "primitives/openssl_int.h"

#include <openssl/rand.h>

#include <algorithm>
#include <array>
#include <optional>

namespace QVCryptoService {

PxaResult KeyFitsCipher(const std::string& cipherName, const SecureBlock& key, const QVKeyControlData& ctl) {
  if (cipherName != ctl.algorithm) {
    return PXA_ERR_MISMATCHED_KEY;
  }
  const int keyLength = EVPGetCipherKeyLength(cipherName.c_str());
  if (keyLength < 0) {
    return PXA_ERR_UNSUPPORTED_CIPHER;
  }
  if (key.size() != static_cast<std::size_t>(keyLength) || ctl.keyLength != keyLength) {
    return PXA_ERR_MISMATCHED_KEY;
  }
  return PXA_OK;
}

PxaResult FreshIv(const std::string& cipherName, std::vector<std::uint8_t>& iv) {
  const int ivLength = EVPGetCipherIvLength(cipherName.c_str());
  if (ivLength < 0) {
    return PXA_ERR_UNSPECIFIED;
  }
  iv.assign(static_cast<std::size_t>(ivLength), 0);
  if (!iv.empty()) {
    (void)RAND_bytes(iv.data(), ivLength);
  }
  return PXA_OK;
}

void FillKeystoreRecord(const std::string& cipherName, std::vector<std::uint8_t> iv, const std::string& keyName,
                        std::int32_t keyVersion, CipherMeta_t& meta) {
  meta.version = 1;
  meta.cipherName = cipherName;
  meta.iv = std::move(iv);
  meta.keyName = keyName;
  meta.keyVersion = keyVersion;
}

// Encryption always uses the fixed PBKDF2 parameters; decryption takes them from the record, so
// records with other parameters still decrypt.
PxaResult NewPasswordKey(const std::string& cipherName, const std::string& password, SecureBlock& key,
                         CipherMeta_t& meta) {
  const int keyLength = EVPGetCipherKeyLength(cipherName.c_str());
  if (keyLength < 0) {
    return PXA_ERR_UNSUPPORTED_CIPHER;
  }
  std::array<std::uint8_t, kSaltLength> salt{};
  (void)RAND_bytes(salt.data(), kSaltLength);
  SecureBlock derived(static_cast<std::size_t>(keyLength));
  if (const PxaResult result = PBKDF2_HMAC(kPbkdf2Digest, password.c_str(), salt.data(), kSaltLength, kPbkdf2Iterations,
                                           keyLength, derived.data());
      result != PXA_OK) {
    return result;
  }
  key = std::move(derived);
  meta.version = 1;
  meta.cipherName = cipherName;
  meta.salt.assign(salt.begin(), salt.end());
  meta.iterations = kPbkdf2Iterations;
  meta.digestName = kPbkdf2Digest;
  return PXA_OK;
}

PxaResult RecordPasswordKey(const std::string& cipherName, const std::string& password, const CipherMeta_t& meta,
                            SecureBlock& key) {
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
  SecureBlock derived(static_cast<std::size_t>(keyLength));
  if (const PxaResult result = PBKDF2_HMAC(meta.digestName.c_str(), password.c_str(), meta.salt.data(), *saltLength,
                                           static_cast<std::uint32_t>(meta.iterations), keyLength, derived.data());
      result != PXA_OK) {
    return result;
  }
  key = std::move(derived);
  return PXA_OK;
}

PxaResult EncryptWithFreshIv(const std::string& cipherName, const SecureBlock& key, const std::uint8_t* plain,
                             std::size_t length, std::vector<std::uint8_t>& iv, std::vector<std::uint8_t>& cipherText) {
  if (EVPGetCipherIvLength(cipherName.c_str()) < 0) {
    return PXA_ERR_UNSPECIFIED;
  }
  const std::optional<int> plainLength = NarrowToOpenSslInt(length, kCipherSlack);
  const std::optional<int> keyLength = NarrowToOpenSslInt(key.size());
  if (!plainLength || !keyLength || (plain == nullptr && length != 0)) {
    return PXA_ERR_INVALID_ARGUMENTS;
  }
  std::vector<std::uint8_t> freshIv;
  (void)FreshIv(cipherName, freshIv);
  const int ivLength = static_cast<int>(freshIv.size());
  std::vector<std::uint8_t> output(length + kCipherSlack);
  int written = *plainLength + static_cast<int>(kCipherSlack);
  const PxaResult result = EVPEncrypt(cipherName.c_str(), key.data(), *keyLength, freshIv.data(), ivLength, plain,
                                      *plainLength, output.data(), written);
  if (result != PXA_OK) {
    return result;
  }
  output.resize(static_cast<std::size_t>(written));
  iv = std::move(freshIv);
  cipherText = std::move(output);
  return PXA_OK;
}

PxaResult DecryptWithRecordIv(const std::string& cipherName, const SecureBlock& key, const CipherMeta_t& meta,
                              const std::uint8_t* cipherText, std::size_t length, std::uint8_t* out,
                              std::size_t& outLength) {
  const std::optional<int> cipherLength = NarrowToOpenSslInt(length);
  const std::optional<int> keyLength = NarrowToOpenSslInt(key.size());
  const std::optional<int> ivLength = NarrowToOpenSslInt(meta.iv.size());
  if (!cipherLength || !keyLength || !ivLength || (cipherText == nullptr && length != 0) || out == nullptr) {
    return PXA_ERR_INVALID_ARGUMENTS;
  }
  std::vector<std::uint8_t> iv = meta.iv;
  // The cipher text's length bounds the plain text. It is decrypted into locked memory and
  // reaches the caller's buffer only whole: a failure (a bad padding block, mostly) comes after
  // all but the last block have been decrypted, and none of that may be left with the caller.
  // One byte more than needed, so that even an empty cipher text has somewhere to go.
  SecureBlock plain(length + 1);
  int written = *cipherLength;
  const PxaResult result = EVPDecrypt(cipherName.c_str(), key.data(), *keyLength, iv.data(), *ivLength, cipherText,
                                      *cipherLength, plain.data(), written);
  if (result != PXA_OK) {
    return result;
  }
  std::copy_n(plain.data(), written, out);
  outLength = static_cast<std::size_t>(written);
  return PXA_OK;
}

PxaResult DecryptSerializedText(std::string serialized, SecureBlock& plain, const RawDecryption& decryptRaw) {
  CipherMeta_t meta;
  std::vector<std::uint8_t> bytes;
  if (!DeserialzeCipherData(std::move(serialized), meta, bytes)) {
    return PXA_ERR_CORRUPTED_DATA;
  }
  SecureBlock output(bytes.size() + kCipherSlack);
  std::size_t written = 0;
  const PxaResult result = decryptRaw(meta, bytes.data(), bytes.size(), output.data(), written);
  if (result != PXA_OK) {
    return result;
  }
  output.resize(written);
  plain = std::move(output);
  return PXA_OK;
}

}  // namespace QVCryptoService
