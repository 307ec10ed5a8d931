#include "cli/commands.h"
#include "cli/io.h"
#include "cli/password.h"
#include "cli/tool.h"

#include <qvcryptoservice/encryption_functions.h>

#include <string>

namespace qvcrypto {

using namespace QVCryptoService;

namespace {

std::string KeystoreName(const Invocation& invocation) {
  const std::string* name = invocation.Value("--keystore");
  if (name != nullptr && HasPasswordOption(invocation)) {
    Usage("give either --keystore or a password option, not both");
  }
  return name != nullptr ? *name : "ZKSystem";
}

}  // namespace

int RunEncrypt(const Invocation& invocation) {
  const bool withPassword = HasPasswordOption(invocation);
  const std::string keystore = KeystoreName(invocation);
  // The password is asked before the data is read, so a missing source fails fast.
  const SecureBlock password = withPassword ? ReadPassword(invocation) : SecureBlock();
  const SecureBlock plain = ReadStandardInput();
  std::string cipherText;
  PxaResult result = PXA_OK;
  if (withPassword) {
    const SecretString passwordText(password);
    result = EncryptWithPassword(plain, passwordText.str(), cipherText);
  } else {
    result = EncryptData(plain, cipherText, keystore);
  }
  if (result != PXA_OK) {
    FailedResult(withPassword ? "encrypt" : "encrypt with keystore \"" + keystore + "\"", result);
  }
  WriteStandardOutput(cipherText + "\n");
  return kExitOk;
}

int RunDecrypt(const Invocation& invocation) {
  const bool withPassword = HasPasswordOption(invocation);
  const std::string keystore = KeystoreName(invocation);
  const SecureBlock password = withPassword ? ReadPassword(invocation) : SecureBlock();
  const std::string cipherText = ReadTextArgument(nullptr, "cipher text");
  SecureBlock plain;
  PxaResult result = PXA_OK;
  if (withPassword) {
    const SecretString passwordText(password);
    result = DecryptWithPassword(cipherText, passwordText.str(), plain);
  } else {
    result = DecryptData(cipherText, plain, keystore);
  }
  if (result != PXA_OK) {
    FailedResult(withPassword ? "decrypt" : "decrypt with keystore \"" + keystore + "\"", result);
  }
  WriteStandardOutput(plain.data(), plain.size());
  return kExitOk;
}

}  // namespace qvcrypto
