#include <qvcryptoservice/encryption_functions.h>
#include <qvcryptoservice/qvcrypto.h>
#include <qvcryptoservice/qvpax.h>

#include "frame/fixed_names.h"
#include "primitives/openssl_int.h"

#include <memory>

namespace QVCryptoService {
namespace {

std::shared_ptr<QVCrypto> Engine() { return QVpax::getInstance()->CryptoIntrf(); }

SecureBlock CopyOf(const std::uint8_t* data, std::size_t length) {
  return length == 0 ? SecureBlock() : SecureBlock(data, data + length);
}

// Plain text the cipher could not take is refused before it is copied, with the answer the
// engine gives for it.
bool CipherTakes(std::size_t length) { return NarrowToOpenSslInt(length, kCipherSlack).has_value(); }

// The engine's block form copies the plain text into a SecureBlock only to hand its bytes to the
// raw form and serialize the result; going to the raw form directly gives the same text and
// result without that copy. The engine here is always QVCrypto itself, never a derived one.
PxaResult EncryptToText(const std::string& keystoreName, const std::uint8_t* plain, std::size_t length,
                        std::string& cipherText) {
  CipherMeta_t meta;
  std::vector<std::uint8_t> bytes;
  const PxaResult result =
      Engine()->encrypt(keystoreName, kFixedCipher, kFixedEncryptionKey, plain, length, meta, bytes);
  if (result == PXA_OK) {
    cipherText = SeralizeCipherData(meta, bytes);
  }
  return result;
}

}  // namespace

PxaResult EncryptData(const std::uint8_t* plain, std::size_t length, std::string& cipherText,
                      const std::string& keystoreName) {
  return EncryptToText(keystoreName, length == 0 ? nullptr : plain, length, cipherText);
}

PxaResult EncryptData(const SecureBlock& plain, std::string& cipherText, const std::string& keystoreName) {
  return EncryptToText(keystoreName, plain.data(), plain.size(), cipherText);
}

PxaResult EncryptData(const std::string& plain, std::string& cipherText, const std::string& keystoreName) {
  return EncryptToText(keystoreName, plain.empty() ? nullptr : reinterpret_cast<const std::uint8_t*>(plain.data()),
                       plain.size(), cipherText);
}

PxaResult DecryptData(const std::string& cipherText, SecureBlock& plain, const std::string& keystoreName) {
  return Engine()->decrypt(keystoreName, kFixedCipher, kFixedEncryptionKey, cipherText, plain);
}

PxaResult EncryptWithPassword(const std::uint8_t* plain, std::size_t length, const std::string& password,
                              std::string& cipherText) {
  if (!CipherTakes(length)) {
    return PXA_ERR_INVALID_ARGUMENTS;
  }
  return Engine()->PBEncrypt(kFixedCipher, password, CopyOf(plain, length), cipherText);
}

PxaResult EncryptWithPassword(const std::string& plain, const std::string& password, std::string& cipherText) {
  return Engine()->PBEncrypt(kFixedCipher, password, SecureBlock(plain.begin(), plain.end()), cipherText);
}

PxaResult EncryptWithPassword(const SecureBlock& plain, const std::string& password, std::string& cipherText) {
  return Engine()->PBEncrypt(kFixedCipher, password, plain, cipherText);
}

PxaResult EncryptWithPassword(const std::uint8_t* plain, std::size_t length, const std::string& password,
                              std::string& metaJson, std::vector<std::uint8_t>& cipherBytes) {
  if (!CipherTakes(length)) {
    return PXA_ERR_INVALID_ARGUMENTS;
  }
  const SecureBlock copy = CopyOf(plain, length);
  CipherMeta_t meta;
  const PxaResult result = Engine()->PBEncrypt(kFixedCipher, password, copy.data(), copy.size(), meta, cipherBytes);
  if (result == PXA_OK) {
    metaJson = CipherMetaToJsonStr(meta);
  }
  return result;
}

PxaResult DecryptWithPassword(std::string& metaJson, const std::uint8_t* cipherText, std::size_t length,
                              const std::string& password, std::uint8_t* out, std::size_t& plainLength) {
  CipherMeta_t meta;
  if (!CipherMetaFromJsonStr(metaJson, meta)) {
    return PXA_ERR_CORRUPTED_DATA;
  }
  return Engine()->PBDecrypt(kFixedCipher, password, meta, cipherText, length, out, plainLength);
}

PxaResult DecryptWithPassword(const std::string& cipherText, const std::string& password, SecureBlock& plain) {
  return Engine()->PBDecrypt(kFixedCipher, password, cipherText, plain);
}

}  // namespace QVCryptoService
