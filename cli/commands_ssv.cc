#include "cli/commands.h"
#include "cli/console.h"
#include "cli/io.h"
#include "cli/tool.h"

#include <qvcryptoservice/qvpax.h>
#include <qvcryptoservice/ssv_crypto.h>
#include <qvcryptoservice/ssv_functions.h>

#include <filesystem>
#include <string>
#include <vector>

namespace qvcrypto {

using namespace QVCryptoService;

namespace {

// The staging file only passes through; the temporary directory is writable everywhere.
std::string StagingDirectory() { return std::filesystem::temp_directory_path().string(); }

}  // namespace

int RunSsvInit(const Invocation& invocation) {
  const bool force = invocation.Has("--force");
  const EQVKeystoreCode code = QVSSVCrypto::generateSSV(StagingDirectory(), force);
  if (code != KS_SUCCESS) {
    FailedResult("ssv init: cannot store the SSV record at " + console::SsvRecordLocation(), KeystoreResult(code));
  }
  const std::string componentId = QVpax::getInstance()->SSVCryptoIntrf()->getComponentId();
  if (componentId.empty()) {
    Failed("ssv init: the SSV was stored but cannot be read back from " + console::SsvRecordLocation());
  }
  WriteStandardOutput(std::string(force ? "new SSV stored" : "SSV ready") + ", component id " + componentId + "\n");
  return kExitOk;
}

int RunSsvStatus(const Invocation& /*invocation*/) {
  const std::string location = console::SsvRecordLocation();
  const auto engine = QVpax::getInstance()->SSVCryptoIntrf();
  const std::string componentId = engine->getComponentId();
  if (componentId.empty()) {
    Failed("ssv status: no readable SSV record at " + location + " (run 'qvcrypto ssv init')");
  }
  std::vector<std::string> secrets;
  const EQVKeystoreCode code = engine->recoverSSV(secrets);
  const std::size_t groups = secrets.size();
  for (std::string& secret : secrets) {
    WipeString(secret);
  }
  if (code != KS_SUCCESS || groups != 5) {
    Failed("ssv status: the SSV record at " + location + " (component id " + componentId + ") does not recombine: " +
           PxaErrorReason(KeystoreResult(code != KS_SUCCESS ? code : KS_ERR_INVALID_SSV_DATA)));
  }
  WriteStandardOutput("record:       " + location + "\ncomponent id: " + componentId +
                      "\nshares:       recombine (5 of 5 groups)\n");
  return kExitOk;
}

int RunSsvEncrypt(const Invocation& invocation) {
  const SecureBlock plain = ReadStandardInput();
  const SecretString plainText(plain);
  std::string cipherText;
  const PxaResult result = invocation.Has("--binary") ? EncryptWithSSV_Bin(plainText.str(), cipherText)
                                                      : EncryptWithSSV(plainText.str(), cipherText);
  if (result != PXA_OK) {
    FailedResult("ssv encrypt", result);
  }
  if (!invocation.Has("--binary")) {
    cipherText += '\n';
  }
  WriteStandardOutput(cipherText);
  return kExitOk;
}

int RunSsvDecrypt(const Invocation& invocation) {
  const bool binary = invocation.Has("--binary");
  std::string cipherText;
  if (binary) {
    const SecureBlock input = ReadStandardInput();
    cipherText.assign(input.begin(), input.end());
    if (cipherText.empty()) {
      Usage("nothing to decrypt on standard input");
    }
  } else {
    cipherText = ReadTextArgument(nullptr, "SSV text");
  }
  SecureBlock plain;
  const PxaResult result = binary ? DecryptWithSSV_Bin(cipherText, plain) : DecryptWithSSV(cipherText, plain);
  if (result != PXA_OK) {
    FailedResult("ssv decrypt", result);
  }
  WriteStandardOutput(plain.data(), plain.size());
  return kExitOk;
}

}  // namespace qvcrypto
