#include "encryption/cipher_checks.h"

namespace QVCryptoService {

int CipherKeyLength(const std::string& cipherName) {
  const EVP_CIPHER* cipher = EVP_get_cipherbyname(cipherName.c_str());
  return cipher == nullptr ? -1 : EVP_CIPHER_get_key_length(cipher);
}

int CipherIvLength(const std::string& cipherName) {
  const EVP_CIPHER* cipher = EVP_get_cipherbyname(cipherName.c_str());
  return cipher == nullptr ? -1 : EVP_CIPHER_get_iv_length(cipher);
}

PxaResult KeyFitsCipher(const std::string& cipherName, const SecureBlock& key, const QVKeyControlData& ctl) {
  // The recorded algorithm is compared before OpenSSL is asked anything about the cipher.
  if (cipherName != ctl.algorithm) {
    return PXA_ERR_MISMATCHED_KEY;
  }
  const int keyLength = CipherKeyLength(cipherName);
  if (keyLength < 0) {
    return PXA_ERR_UNSUPPORTED_CIPHER;
  }
  if (key.size() != static_cast<std::size_t>(keyLength) || ctl.keyLength != keyLength) {
    return PXA_ERR_MISMATCHED_KEY;
  }
  return PXA_OK;
}

}  // namespace QVCryptoService
