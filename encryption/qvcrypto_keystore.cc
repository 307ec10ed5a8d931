// Encryption and decryption under keystore keys.

#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/qvcrypto.h>

#include "encryption/cipher_checks.h"
#include "encryption/key_retrieval.h"
#include "frame/result_compose.h"

#include <openssl/rand.h>

#include <string_view>

namespace QVCryptoService {
namespace {

constexpr std::string_view kDefaultKeystore = "ZKSystem";
constexpr std::int32_t kKeyStateActive = 2;

// Output room for a one-shot encryption: the input plus two blocks of slack.
constexpr std::size_t kCipherSlack = 32;

}  // namespace

IQVCryptoEngine::~IQVCryptoEngine() = default;

QVCrypto::QVCrypto(const std::shared_ptr<CQVKeystoreMgr>& keystores) : keystores_(keystores) {}
QVCrypto::QVCrypto(const QVCrypto& other) = default;
QVCrypto& QVCrypto::operator=(const QVCrypto& other) = default;
QVCrypto::~QVCrypto() = default;

PxaResult QVCrypto::encrypt(std::string keystoreName, std::string cipherName, std::string keyName,
                            const std::uint8_t* plain, std::size_t length, CipherMeta_t& meta,
                            std::vector<std::uint8_t>& cipherText) const {
  const std::shared_ptr<IQVKeyStore> store =
      keystores_->GetKeystore(keystoreName.empty() ? std::string(kDefaultKeystore) : keystoreName);
  if (!store) {
    return kKeystoreMissingResult;
  }
  SecureBlock key;
  QVKeyControlData ctl;
  if (const std::int32_t code = FetchKeyWithRefresh(*store, keyName, key, ctl, 0); code != KS_SUCCESS) {
    return KeystoreResult(code);
  }
  if (ctl.state != kKeyStateActive) {
    return PXA_ERR_KEY_NOT_ACTIVE;
  }
  if (const PxaResult unfit = KeyFitsCipher(cipherName, key, ctl); unfit != PXA_OK) {
    return unfit;
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
  const PxaResult result =
      EVPEncrypt(cipherName.c_str(), key.data(), static_cast<int>(key.size()), iv.data(), ivLength, plain,
                 static_cast<int>(length), output.data(), written);
  if (result != PXA_OK) {
    return result;
  }
  output.resize(static_cast<std::size_t>(written));
  cipherText = std::move(output);
  meta.version = 1;
  meta.cipherName = cipherName;
  meta.iv.assign(iv.begin(), iv.end());
  meta.keyName = keyName;
  meta.keyVersion = ctl.version;
  return PXA_OK;
}

PxaResult QVCrypto::encrypt(std::string keystoreName, std::string cipherName, std::string keyName, SecureBlock plain,
                            std::string& cipherText) const {
  CipherMeta_t meta;
  std::vector<std::uint8_t> bytes;
  const PxaResult result = encrypt(std::move(keystoreName), std::move(cipherName), std::move(keyName), plain.data(),
                                   plain.size(), meta, bytes);
  if (result == PXA_OK) {
    cipherText = SeralizeCipherData(meta, bytes);
  }
  return result;
}

PxaResult QVCrypto::decrypt(std::string keystoreName, std::string cipherName, std::string keyName,
                            std::string cipherText, SecureBlock& plain) const {
  CipherMeta_t meta;
  std::vector<std::uint8_t> bytes;
  if (!DeserialzeCipherData(std::move(cipherText), meta, bytes)) {
    return PXA_ERR_CORRUPTED_DATA;
  }
  SecureBlock output(bytes.size() + kCipherSlack);
  std::size_t written = 0;
  const PxaResult result = decrypt(std::move(keystoreName), std::move(cipherName), std::move(keyName), meta,
                                   bytes.data(), bytes.size(), output.data(), written);
  if (result != PXA_OK) {
    return result;
  }
  output.resize(written);
  plain = std::move(output);
  return PXA_OK;
}

PxaResult QVCrypto::decrypt(std::string /*keystoreName*/, std::string cipherName, std::string keyName,
                            const CipherMeta_t& meta, const std::uint8_t* cipherText, std::size_t length,
                            std::uint8_t* out, std::size_t& outLength) const {
  if (meta.cipherName != cipherName || meta.keyName != keyName || meta.iv.empty()) {
    return PXA_ERR_META_INCOMPATIBLE;
  }
  // Decryption does not use the caller's keystore name: it searches the keystores the manager
  // lists, so data stays readable wherever its key has moved. Only "corrupted" from a keystore
  // other than the default lets the search go on.
  const std::vector<std::string> names = keystores_->GetKeystoreNames();
  if (names.empty()) {
    return kKeystoreMissingResult;
  }
  SecureBlock key;
  QVKeyControlData ctl;
  PxaResult lastFailure = kKeystoreMissingResult;
  bool found = false;
  for (const std::string& name : names) {
    const std::shared_ptr<IQVKeyStore> store = keystores_->GetKeystore(name);
    if (!store) {
      lastFailure = kKeystoreMissingResult;
      continue;
    }
    const std::int32_t code = FetchKeyWithRefresh(*store, keyName, key, ctl, meta.keyVersion);
    if (code == KS_SUCCESS) {
      found = true;
      break;
    }
    if (name == kDefaultKeystore || code != KS_ERR_CORRUPTED) {
      return KeystoreResult(code);
    }
    lastFailure = KeystoreResult(code);
  }
  if (!found) {
    return lastFailure;
  }
  if (const PxaResult unfit = KeyFitsCipher(cipherName, key, ctl); unfit != PXA_OK) {
    return unfit;
  }
  if (length > static_cast<std::size_t>(INT32_MAX) || (cipherText == nullptr && length != 0) || out == nullptr) {
    return PXA_ERR_INVALID_ARGUMENTS;
  }
  std::vector<std::uint8_t> iv = meta.iv;
  // The caller's buffer holds at least the cipher text's length, which bounds the plain text.
  int written = static_cast<int>(length);
  const PxaResult result =
      EVPDecrypt(cipherName.c_str(), key.data(), static_cast<int>(key.size()), iv.data(), static_cast<int>(iv.size()),
                 cipherText, static_cast<int>(length), out, written);
  if (result != PXA_OK) {
    return result;
  }
  outLength = static_cast<std::size_t>(written);
  return PXA_OK;
}

bool QVCrypto::isQVCrypto(std::string text) const {
  CipherMeta_t meta;
  std::vector<std::uint8_t> bytes;
  return DeserialzeCipherData(std::move(text), meta, bytes);
}

void QVCrypto::generateSecureRandom(std::uint64_t count, SecureBlock& out) const {
  if (count > out.capacity()) {
    out.reserve(static_cast<std::size_t>(count));
  }
  // Fills storage beyond size() on purpose: callers size the block first and pass its size.
  if (count > 0 && count <= static_cast<std::uint64_t>(INT32_MAX)) {
    (void)RAND_bytes(out.data(), static_cast<int>(count));
  }
}

std::string QVCrypto::base64Encode(const std::uint8_t* data, std::uint64_t length) const {
  return base64_encode(data, static_cast<std::uint32_t>(length));
}

std::vector<std::uint8_t> QVCrypto::base64Decode(std::string text) const {
  const std::string bytes = base64_decode(text);
  return {bytes.begin(), bytes.end()};
}

}  // namespace QVCryptoService
