// The plain C SSV functions: text in, text out, for callers that can pass only character
// pointers. A failure gives the empty string.

#include <qvcryptoservice/qvcrypto_c.h>
#include <qvcryptoservice/qvpax.h>
#include <qvcryptoservice/ssv_crypto.h>

#include "primitives/c_boundary.h"
#include "primitives/secret_string.h"

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// Writes `text` (up to its first zero byte) and a terminator into the caller's buffer, or into a
// new allocation when the caller passed none. The caller's buffer has no stated size: providing
// room for the whole text is the caller's side of the contract.
void DeliverText(const std::string& text, char** output) {
  if (output == nullptr) {
    return;
  }
  const std::size_t length = std::strlen(text.c_str());
  if (*output == nullptr) {
    // Callers release this with free() on every platform (unlike the password functions).
    *output = static_cast<char*>(std::malloc(length + 1));  // NOLINT(cppcoreguidelines-no-malloc)
    if (*output == nullptr) {
      return;
    }
  }
  std::memcpy(*output, text.c_str(), length + 1);
}

}  // namespace

extern "C" {

void SSVEncrypt(const char* plain, char** cipherText) {
  std::string text;
  const bool done = QVCryptoService::RunForC(false, [&] {
    if (plain != nullptr) {
      const QVCryptoService::SecureBlock block(plain, plain + std::strlen(plain));
      (void)QVCryptoService::QVpax::getInstance()->SSVCryptoIntrf()->QVEncrypt(block, text);
    }
    return true;
  });
  if (!done) {
    text.clear();
  }
  DeliverText(text, cipherText);
}

void SSVDecrypt(const char* cipherText, char** plain) {
  std::string text;
  const QVCryptoService::WipeOnExit wipeText(text);
  const bool done = QVCryptoService::RunForC(false, [&] {
    if (cipherText != nullptr) {
      QVCryptoService::SecureBlock block;
      if (QVCryptoService::QVpax::getInstance()->SSVCryptoIntrf()->QVDecrypt(std::string(cipherText), block) ==
          QVCryptoService::PXA_OK) {
        text.assign(block.begin(), block.end());
      }
    }
    return true;
  });
  if (!done) {
    QVCryptoService::WipeString(text);
  }
  DeliverText(text, plain);
}

}  // extern "C"
