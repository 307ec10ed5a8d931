// Encryption and decryption under keystore keys.

#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/qvcrypto.h>

#include "encryption/cipher_steps.h"
#include "encryption/key_retrieval.h"
#include "frame/result_compose.h"
#include "primitives/openssl_int.h"

#include <openssl/rand.h>

#include <algorithm>
#include <optional>

namespace QVCryptoService {
namespace {

constexpr std::int32_t kKeyStateActive = 2;

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
      keystores_->GetKeystore(keystoreName.empty() ? std::string(kDefaultKeystoreName) : keystoreName);
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
  std::vector<std::uint8_t> iv;
  if (const PxaResult result = EncryptWithFreshIv(cipherName, key, plain, length, iv, cipherText); result != PXA_OK) {
    return result;
  }
  meta.version = 1;
  meta.cipherName = cipherName;
  meta.iv = std::move(iv);
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
  return DecryptSerializedText(std::move(cipherText), plain,
                               [&](const CipherMeta_t& meta, const std::uint8_t* bytes, std::size_t length,
                                   std::uint8_t* out, std::size_t& outLength) {
                                 return decrypt(keystoreName, cipherName, keyName, meta, bytes, length, out, outLength);
                               });
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
    if (name == kDefaultKeystoreName || code != KS_ERR_CORRUPTED) {
      return KeystoreResult(code);
    }
    lastFailure = KeystoreResult(code);
  }
  if (!found) {
    return lastFailure;
  }
  // The key's state is not checked: retired keys still decrypt what they encrypted.
  if (const PxaResult unfit = KeyFitsCipher(cipherName, key, ctl); unfit != PXA_OK) {
    return unfit;
  }
  return DecryptWithRecordIv(cipherName, key, meta, cipherText, length, out, outLength);
}

bool QVCrypto::isQVCrypto(std::string text) const {
  CipherMeta_t meta;
  std::vector<std::uint8_t> bytes;
  return DeserialzeCipherData(std::move(text), meta, bytes);
}

void QVCrypto::generateSecureRandom(std::uint64_t count, SecureBlock& out) const {
  // A count no block can hold is left alone rather than let the block's length error out.
  if (count > out.max_size()) {
    return;
  }
  if (count > out.capacity()) {
    out.reserve(static_cast<std::size_t>(count));
  }
  // Fills storage beyond size() on purpose: callers size the block first and pass its size. The
  // generator takes an int count, so a larger request is filled a piece at a time.
  constexpr std::uint64_t kPiece = std::uint64_t{1} << 30;
  for (std::uint64_t done = 0; done < count;) {
    const std::optional<int> piece = NarrowToOpenSslInt(std::min(count - done, kPiece));
    if (!piece) {
      return;
    }
    (void)RAND_bytes(out.data() + done, *piece);
    done += static_cast<std::uint64_t>(*piece);
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
