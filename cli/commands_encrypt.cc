#include "cli/commands.h"
#include "cli/io.h"
#include "cli/key_source.h"
#include "cli/output.h"
#include "cli/password.h"
#include "cli/tool.h"

#include <qvcryptoservice/cipher_meta.h>
#include <qvcryptoservice/encryption_functions.h>
#include <qvcryptoservice/encryption_streams.h>
#include <qvcryptoservice/keystore_mgr.h>
#include <qvcryptoservice/qvcrypto.h>
#include <qvcryptoservice/qvpax.h>

#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

namespace qvcrypto {

using namespace QVCryptoService;

namespace {

// main has registered the key source of the command line under this name (see key_source.h).
const std::string kKeystore(kDefaultKeystoreName);

// The library encrypts at most this much plain text: OpenSSL's int counts, less room for the
// cipher's padding.
constexpr std::uint64_t kLargestPlainText = std::numeric_limits<std::int32_t>::max() - 32;

}  // namespace

// Encryption and decryption stream: the plain text and the text pass through in pieces.
int RunEncrypt(const Invocation& invocation) {
  const bool withPassword = HasPasswordOption(invocation);
  // The password is asked before the data is read, so a missing source fails fast.
  const SecureBlock password = withPassword ? ReadPassword(invocation) : SecureBlock();
  CommandOutput output(invocation, CommandOutput::Timing::kAsWritten);
  // The text is written as the plain text is read. A file too large to encrypt is refused before
  // any of it is read, with the library's answer to such plain text, so that nothing is written;
  // a pipe is refused only once that much has come (see README).
  StandardInputSource plain(kLargestPlainText);
  PxaResult result = PXA_OK;
  if (withPassword) {
    const SecretString passwordText(password);
    result = EncryptWithPasswordStream(plain, passwordText.str(), output);
  } else {
    result = EncryptDataStream(plain, output, kKeystore);
  }
  plain.Check();
  if (plain.tooLarge()) {
    result = PXA_ERR_INVALID_ARGUMENTS;
  }
  if (result != PXA_OK) {
    FailedResult(withPassword ? "encrypt" : "encrypt with keystore \"" + kKeystore + "\"", result);
  }
  output.Write("\n");
  output.Commit();
  return kExitOk;
}

int RunDecrypt(const Invocation& invocation) {
  const bool withPassword = HasPasswordOption(invocation);
  const SecureBlock password = withPassword ? ReadPassword(invocation) : SecureBlock();
  TrimmedTextSource cipherText("cipher text");
  CommandOutput output(invocation, CommandOutput::Timing::kWhenDone);
  PxaResult result = PXA_OK;
  if (withPassword) {
    const SecretString passwordText(password);
    result = DecryptWithPasswordStream(cipherText, passwordText.str(), output);
  } else {
    result = DecryptDataStream(cipherText, output, kKeystore);
  }
  cipherText.Check();
  if (result != PXA_OK) {
    FailedResult(withPassword ? "decrypt" : "decrypt with keystore \"" + kKeystore + "\"", result);
  }
  output.Commit();
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
  WriteCommandOutput(invocation, rewrapped + "\n");
  std::fprintf(stderr, "qvcrypto: rewrap: %s -> version %d\n", oldVersion.c_str(), newMeta.keyVersion);
  return kExitOk;
}

}  // namespace qvcrypto
