// Encryption and decryption under keystore keys.

#include <qvcryptoservice/primitives.h>
#include <qvcryptoservice/qvcrypto.h>

#include "encryption/cipher_steps.h"
#include "encryption/key_retrieval.h"
#include "primitives/openssl_int.h"

#include <openssl/rand.h>

#include <algorithm>
#include <optional>

namespace QVCryptoService {

IQVCryptoEngine::~IQVCryptoEngine() = default;

QVCrypto::QVCrypto(const std::shared_ptr<CQVKeystoreMgr>& keystores) : keystores_(keystores) {}
QVCrypto::QVCrypto(const QVCrypto& other) = default;
QVCrypto& QVCrypto::operator=(const QVCrypto& other) = default;
QVCrypto::~QVCrypto() = default;

PxaResult QVCrypto::encrypt(std::string keystoreName, std::string cipherName, std::string keyName,
                            const std::uint8_t* plain, std::size_t length, CipherMeta_t& meta,
                            std::vector<std::uint8_t>& cipherText) const {
  SecureBlock key;
  QVKeyControlData ctl;
  if (const PxaResult fetched = FetchKeyToEncrypt(*keystores_, keystoreName, cipherName, keyName, key, ctl);
      fetched != PXA_OK) {
    return fetched;
  }
  std::vector<std::uint8_t> iv;
  if (const PxaResult result = EncryptWithFreshIv(cipherName, key, plain, length, iv, cipherText); result != PXA_OK) {
    return result;
  }
  FillKeystoreRecord(cipherName, std::move(iv), keyName, ctl.version, meta);
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
  // Decryption does not use the caller's keystore name: it searches the keystores the manager
  // lists, so data stays readable wherever its key has moved.
  SecureBlock key;
  if (const PxaResult fetched = FetchKeyToDecrypt(*keystores_, cipherName, keyName, meta, key); fetched != PXA_OK) {
    return fetched;
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
