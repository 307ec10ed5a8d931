#include "cli/commands.h"
#include "cli/io.h"
#include "cli/machine_state.h"
#include "cli/output.h"
#include "cli/tool.h"

#include <qvcryptoservice/qvpax.h>
#include <qvcryptoservice/ssv_binding.h>
#include <qvcryptoservice/ssv_crypto.h>
#include <qvcryptoservice/ssv_functions.h>

#include <string>
#include <vector>

namespace qvcrypto {

using namespace QVCryptoService;

namespace {

// RefuseUntrustedRoot names the reason when the library has refused the machine root.
void RefuseUntrustedRoot(const std::string& operation, const std::string& consequence) {
  const std::string problem = machine::MachineRootProblem();
  if (!problem.empty()) {
    Failed(operation + ": " + problem + "; " + consequence);
  }
}

// BindingLine is the line that reports the record's binding to this machine, with `detail` (what
// was just done, or why there is no answer) or, for a state that asks for something, what to do.
std::string BindingLine(SsvBindingState state, const std::string& detail) {
  const std::string line = std::string("binding:      ") + SsvBindingStateText(state);
  std::string note = detail;
  if (note.empty() && state == SsvBindingState::kCopiedFromAnotherMachine) {
    note = "run 'qvcrypto ssv rebind' after an intended move";
  } else if (note.empty() && state == SsvBindingState::kNoBindingYet) {
    note = "run 'qvcrypto ssv status --bind' to bind it to this machine";
  }
  return line + (note.empty() ? "" : " (" + note + ")") + "\n";
}

// BindingReport checks the binding and, when `bind` allows it, writes one: always with
// kBindAlways, only where there is none with kBindWhenMissing.
enum class Binding { kCheckOnly, kBindWhenMissing, kBindAlways };

std::string BindingReport(Binding bind) {
  std::string reason;
  const SsvBindingState state = CheckSsvBinding(&reason);
  if (bind == Binding::kBindAlways || (bind == Binding::kBindWhenMissing && state == SsvBindingState::kNoBindingYet)) {
    if (!BindSsvToMachine(nullptr, &reason)) {
      return BindingLine(SsvBindingState::kCannotTell, "not written: " + reason);
    }
    return BindingLine(SsvBindingState::kBoundToThisMachine, "written now");
  }
  return BindingLine(state, reason);
}

}  // namespace

std::string RestoredBindingLine(bool written) {
  std::string reason;
  const SsvBindingState state = CheckSsvBinding(&reason);
  return BindingLine(state, written && state == SsvBindingState::kBoundToThisMachine ? "written now" : reason);
}

int RunSsvInit(const Invocation& invocation) {
  const bool force = invocation.Has("--force");
  // A record made now is bound whatever binding an earlier one left behind; one kept is bound only
  // when it has none (a moved record is rebound on purpose).
  const bool newRecord = force || !machine::SsvPresent();
  // The staging file passes through the machine root, which only this account and root may write.
  const EQVKeystoreCode code = QVSSVCrypto::generateSSV(machine::SsvStagingDirectory(), force);
  if (code != KS_SUCCESS) {
    RefuseUntrustedRoot("ssv init", "refusing to read or store an SSV record there");
    if (code == KS_ERR_SSV_NOT_INITIALIZED) {
      FailedResult("ssv init: cannot stage the SSV record as " + machine::SsvStagingFile() +
                       " (something there that is not a file of this account is refused)",
                   KeystoreResult(code));
    }
    FailedResult("ssv init: cannot store the SSV record at " + machine::SsvRecordLocation(), KeystoreResult(code));
  }
  const std::string componentId = QVpax::getInstance()->SSVCryptoIntrf()->getComponentId();
  if (componentId.empty()) {
    Failed("ssv init: the SSV was stored but cannot be read back from " + machine::SsvRecordLocation());
  }
  WriteStandardOutput(std::string(force ? "new SSV stored" : "SSV ready") + ", component id " + componentId + "\n" +
                      BindingReport(newRecord ? Binding::kBindAlways : Binding::kBindWhenMissing));
  return kExitOk;
}

int RunSsvStatus(const Invocation& invocation) {
  const std::string location = machine::SsvRecordLocation();
  const auto engine = QVpax::getInstance()->SSVCryptoIntrf();
  const std::string componentId = engine->getComponentId();
  if (componentId.empty()) {
    RefuseUntrustedRoot("ssv status", "its SSV record is not used");
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
  // A staging file of exactly one record wins over the store; say which of the two was loaded.
  const std::string source =
      machine::StagingFileHolds(componentId) ? "staging file " + machine::SsvStagingFile() : "store " + location;
  WriteStandardOutput("record:       " + location + "\nloaded from:  " + source + "\ncomponent id: " + componentId +
                      "\nshares:       recombine (5 of 5 groups)\n" +
                      BindingReport(invocation.Has("--bind") ? Binding::kBindWhenMissing : Binding::kCheckOnly));
  return kExitOk;
}

int RunSsvRebind(const Invocation& /*invocation*/) {
  const std::string componentId = QVpax::getInstance()->SSVCryptoIntrf()->getComponentId();
  if (componentId.empty()) {
    RefuseUntrustedRoot("ssv rebind", "its SSV record is not used");
    Failed("ssv rebind: no readable SSV record at " + machine::SsvRecordLocation() + " (run 'qvcrypto ssv init')");
  }
  SsvBindingState replaced = SsvBindingState::kCannotTell;
  std::string reason;
  if (!BindSsvToMachine(&replaced, &reason)) {
    Failed("ssv rebind: " + reason);
  }
  WriteStandardOutput("component id: " + componentId + "\n" +
                      BindingLine(SsvBindingState::kBoundToThisMachine,
                                  std::string("written now; before: ") + SsvBindingStateText(replaced)));
  return kExitOk;
}

int RunSsvEncrypt(const Invocation& invocation) {
  const SecureBlock plain = ReadStandardInput();
  const SecretString plainText(plain);
  std::string cipherText;
  const PxaResult result = invocation.Has("--binary") ? EncryptWithSSV_Bin(plainText.str(), cipherText)
                                                      : EncryptWithSSV(plainText.str(), cipherText);
  if (result != PXA_OK) {
    RefuseUntrustedRoot("ssv encrypt", "its SSV record is not used");
    FailedResult("ssv encrypt", result);
  }
  if (!invocation.Has("--binary")) {
    cipherText += '\n';
  }
  WriteCommandOutput(invocation, cipherText);
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
    RefuseUntrustedRoot("ssv decrypt", "its SSV record is not used");
    FailedResult("ssv decrypt", result);
  }
  WriteCommandOutput(invocation, plain);
  return kExitOk;
}

}  // namespace qvcrypto
