#include "cli/commands.h"
#include "cli/io.h"
#include "cli/key_source.h"
#include "cli/password.h"
#include "cli/tool.h"

#include <qvcryptoservice/cipher_meta.h>
#include <qvcryptoservice/encryption_functions.h>
#include <qvcryptoservice/keystore_mgr.h>
#include <qvcryptoservice/qvcrypto.h>
#include <qvcryptoservice/qvpax.h>

#include <cstdio>
#include <string>
#include <vector>

namespace qvcrypto {

using namespace QVCryptoService;

namespace {

// main has registered the key source of the command line under this name (see key_source.h).
const std::string kKeystore(kDefaultKeystoreName);

}  // namespace

int RunEncrypt(const Invocation& invocation) {
  const bool withPassword = HasPasswordOption(invocation);
  // The password is asked before the data is read, so a missing source fails fast.
  const SecureBlock password = withPassword ? ReadPassword(invocation) : SecureBlock();
  const SecureBlock plain = ReadStandardInput();
  std::string cipherText;
  PxaResult result = PXA_OK;
  if (withPassword) {
    const SecretString passwordText(password);
    result = EncryptWithPassword(plain, passwordText.str(), cipherText);
  } else {
    result = EncryptData(plain, cipherText, kKeystore);
  }
  if (result != PXA_OK) {
    FailedResult(withPassword ? "encrypt" : "encrypt with keystore \"" + kKeystore + "\"", result);
  }
  WriteStandardOutput(cipherText + "\n");
  return kExitOk;
}

int RunDecrypt(const Invocation& invocation) {
  const bool withPassword = HasPasswordOption(invocation);
  const SecureBlock password = withPassword ? ReadPassword(invocation) : SecureBlock();
  const std::string cipherText = ReadTextArgument(nullptr, "cipher text");
  SecureBlock plain;
  PxaResult result = PXA_OK;
  if (withPassword) {
    const SecretString passwordText(password);
    result = DecryptWithPassword(cipherText, passwordText.str(), plain);
  } else {
    result = DecryptData(cipherText, plain, kKeystore);
  }
  if (result != PXA_OK) {
    FailedResult(withPassword ? "decrypt" : "decrypt with keystore \"" + kKeystore + "\"", result);
  }
  WriteStandardOutput(plain.data(), plain.size());
  return kExitOk;
}

int RunRewrap(const Invocation& invocation) {
  const std::string cipherText = ReadTextArgument(CommandArgument(invocation, 0), "cipher text");
  CipherMeta_t meta;
  std::vector<std::uint8_t> bytes;
  if (!DeserialzeCipherData(cipherText, meta, bytes)) {
    FailedResult("rewrap", PXA_ERR_CORRUPTED_DATA);
  }
  if (meta.keyName.empty()) {
    Failed("rewrap: the text was encrypted with a password, not with a keystore key");
  }
  // The same cipher and key name as the old text; only the key version moves to the current one.
  const auto engine = QVpax::getInstance()->CryptoIntrf();
  const std::string oldVersion = meta.keyName + " version " + std::to_string(meta.keyVersion);
  SecureBlock plain;
  PxaResult result = engine->decrypt(kKeystore, meta.cipherName, meta.keyName, cipherText, plain);
  if (result != PXA_OK) {
    FailedResult("rewrap: cannot decrypt with " + oldVersion, result);
  }
  std::string rewrapped;
  result = engine->encrypt(kKeystore, meta.cipherName, meta.keyName, std::move(plain), rewrapped);
  if (result != PXA_OK) {
    FailedResult("rewrap: cannot encrypt with the current version of " + meta.keyName, result);
  }
  CipherMeta_t newMeta;
  (void)DeserialzeCipherData(rewrapped, newMeta, bytes);
  WriteStandardOutput(rewrapped + "\n");
  std::fprintf(stderr, "qvcrypto: rewrap: %s -> version %d\n", oldVersion.c_str(), newMeta.keyVersion);
  return kExitOk;
}

}  // namespace qvcrypto
