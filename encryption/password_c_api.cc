// The plain C password-encryption functions, built on the string forms of the one-call API.

#include <qvcryptoservice/encryption_functions.h>
#include <qvcryptoservice/qvcrypto_c.h>

#include "platform/task_memory.h"
#include "primitives/c_boundary.h"
#include "primitives/secret_string.h"

#include <cstring>
#include <string>

namespace {

// Hands `text` to the C caller as a zero-terminated copy; false (and nothing stored) when the
// text is empty or no memory could be had.
bool HandOver(const std::string& text, char** out) {
  if (text.empty() || out == nullptr) {
    return false;
  }
  auto* copy = static_cast<char*>(QVCryptoService::platform::AllocateCallerMemory(text.size() + 1));
  if (copy == nullptr) {
    return false;
  }
  std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  *out = copy;
  return true;
}

}  // namespace

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
    return HandOver(text, cipherText) ? 1 : 0;
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
    return HandOver(text, plain) ? 1 : 0;
  });
}

}  // extern "C"
