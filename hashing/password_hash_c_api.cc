// The plain C Argon2id password-hash functions, built on the C++ ones with the default policy.

#include <qvcryptoservice/password_hash.h>
#include <qvcryptoservice/qvcrypto_c.h>

#include "primitives/c_boundary.h"
#include "primitives/caller_text.h"
#include "primitives/secret_string.h"

#include <string>

extern "C" {

uint8_t QVArgon2idHash(const char* password, char** record) {
  if (password == nullptr || record == nullptr) {
    return 0;
  }
  return QVCryptoService::RunForC<uint8_t>(0, [&]() -> uint8_t {
    std::string passwordText(password);
    const QVCryptoService::WipeOnExit wipePassword(passwordText);
    std::string text;
    return QVCryptoService::CreatePasswordHashArgon2id(passwordText, text) == QVCryptoService::PXA_OK &&
                   QVCryptoService::HandTextToCaller(text, record)
               ? 1
               : 0;
  });
}

uint8_t QVArgon2idVerify(const char* password, const char* record) {
  if (password == nullptr || record == nullptr) {
    return 0;
  }
  return QVCryptoService::RunForC<uint8_t>(0, [&]() -> uint8_t {
    std::string passwordText(password);
    const QVCryptoService::WipeOnExit wipePassword(passwordText);
    return QVCryptoService::VerifyPasswordHashArgon2id(passwordText, record) ? 1 : 0;
  });
}

uint8_t QVPasswordHashUpgrade(const char* password, const char* record, char** newRecord) {
  if (password == nullptr || record == nullptr || newRecord == nullptr) {
    return 0;
  }
  return QVCryptoService::RunForC<uint8_t>(0, [&]() -> uint8_t {
    std::string passwordText(password);
    const QVCryptoService::WipeOnExit wipePassword(passwordText);
    bool verified = false;
    std::string upgraded;
    if (QVCryptoService::VerifyAndUpgradePasswordHash(passwordText, record, verified, upgraded) !=
            QVCryptoService::PXA_OK ||
        !verified) {
      return 0;
    }
    return upgraded.empty() || QVCryptoService::HandTextToCaller(upgraded, newRecord) ? 1 : 0;
  });
}

}  // extern "C"
