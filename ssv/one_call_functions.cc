#include <qvcryptoservice/qvpax.h>
#include <qvcryptoservice/ssv_crypto.h>
#include <qvcryptoservice/ssv_functions.h>

#include <memory>

namespace QVCryptoService {
namespace {
std::shared_ptr<QVSSVCrypto> Engine() { return QVpax::getInstance()->SSVCryptoIntrf(); }
}  // namespace

PxaResult EncryptWithSSV(const std::string& plain, std::string& cipherText) {
  return Engine()->QVEncrypt(SecureBlock(plain.begin(), plain.end()), cipherText);
}

PxaResult EncryptWithSSV_Bin(const std::string& plain, std::string& cipherText) {
  return Engine()->QVEncrypt_Bin(SecureBlock(plain.begin(), plain.end()), cipherText);
}

PxaResult DecryptWithSSV(const std::string& cipherText, SecureBlock& plain) {
  return Engine()->QVDecrypt(cipherText, plain);
}

PxaResult DecryptWithSSV_Bin(const std::string& cipherText, SecureBlock& plain) {
  return Engine()->QVDecrypt_Bin(cipherText, plain);
}

}  // namespace QVCryptoService
