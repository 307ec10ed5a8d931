// The plain C password-encryption functions, built on the string forms of the one-call API.

#include <qvcryptoservice/encryption_functions.h>
#include <qvcryptoservice/qvcrypto_c.h>

#include "primitives/c_boundary.h"
#include "primitives/caller_text.h"
#include "primitives/secret_string.h"

#include <string>

extern "C" {

uint8_t QVPBEncrypt(const char* plain, char** cipherText, const char* password) {
  if (plain == nullptr || password == nullptr) {
    return 0;
  }
  return QVCryptoService::RunForC<uint8_t>(0, [&]() -> uint8_t {
    std::string passwordText(password);
    const QVCryptoService::WipeOnExit wipePassword(passwordText);
    std::string plainText(plain);
    const QVCryptoService::WipeOnExit wipePlain(plainText);
    std::string text;
    if (QVCryptoService::EncryptWithPassword(plainText, passwordText, text) != QVCryptoService::PXA_OK) {
      text.clear();
    }
    return QVCryptoService::HandTextToCaller(text, cipherText) ? 1 : 0;
  });
}

uint8_t QVPBDecrypt(const char* cipherText, char** plain, const char* password) {
  if (cipherText == nullptr || password == nullptr) {
    return 0;
  }
  return QVCryptoService::RunForC<uint8_t>(0, [&]() -> uint8_t {
    const std::string serialized(cipherText);
    std::string passwordText(password);
    const QVCryptoService::WipeOnExit wipePassword(passwordText);
    std::string text;
    // The plain text's stay in an ordinary string ends with this call; do not leave it behind.
    const QVCryptoService::WipeOnExit wipeText(text);
    if (!serialized.empty()) {
      QVCryptoService::SecureBlock block;
      if (QVCryptoService::DecryptWithPassword(serialized, passwordText, block) == QVCryptoService::PXA_OK) {
        text.assign(block.begin(), block.end());
      }
    }
    return QVCryptoService::HandTextToCaller(text, plain) ? 1 : 0;
  });
}

}  // extern "C"
