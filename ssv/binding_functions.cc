// Checking and writing this machine's SSV binding: the machine identity, the SSV record and key
// as the SSV functions load and deduce them, and the binding stored beside the record.

#include <qvcryptoservice/ssv_binding.h>
#include <qvcryptoservice/ssv_crypto.h>

#include "platform/machine_identity.h"
#include "platform/machine_lock.h"
#include "platform/machine_store.h"
#include "platform/machine_trust.h"
#include "primitives/c_boundary.h"
#include "primitives/secret_string.h"
#include "ssv/key_deduction.h"
#include "ssv/machine_binding.h"
#include "ssv/record_sources.h"

#include <string>
#include <vector>

namespace QVCryptoService {

namespace {

// What a binding is checked against: this machine's identity, the record's component id and the
// SSV key.
struct BindingFacts {
  std::string identity;
  std::string componentId;
  SecureBlock ssvKey;
};

std::string BindingLocation() {
  return platform::MachineValueLocation(kSsvBindingLocation.key, kSsvBindingLocation.value);
}

// GatherFacts reads the identity and loads the record afresh, as the SSV functions would.
// Returns false with one line in `reason` when one of them is not there.
bool GatherFacts(BindingFacts& facts, std::string& reason) {
  platform::MachineIdentity identity = platform::ReadMachineIdentity();
  if (identity.value.empty()) {
    reason = "no machine identity: " + identity.problem;
    return false;
  }
  facts.identity = std::move(identity.value);
  // Asked silently first: the engine logs its failure to load a record, which here is an answer.
  if (!SsvExists()) {
    reason = "no readable SSV record";
    return false;
  }
  QVSSVCrypto engine;
  facts.componentId = engine.getComponentId();
  if (facts.componentId.empty()) {
    reason = "no readable SSV record";
    return false;
  }
  std::vector<std::string> secrets;
  const bool recovered = engine.recoverSSV(secrets) == KS_SUCCESS;
  if (recovered) {
    facts.ssvKey = DeduceSsvKey(secrets);
  }
  for (std::string& secret : secrets) {
    WipeString(secret);
  }
  if (!recovered) {
    reason = "the SSV record (component id " + facts.componentId + ") does not recombine";
  }
  return recovered;
}

// The binding as stored, or why there is none to be had.
struct StoredBinding {
  platform::StoreStatus status = platform::StoreStatus::kOtherError;
  SecureBlock bytes;
};

StoredBinding ReadBinding() {
  StoredBinding stored;
  stored.status = platform::ReadMachineValue(kSsvBindingLocation.key, kSsvBindingLocation.value, kSsvBindingSize,
                                             platform::RegistryView::kNative64, stored.bytes);
  return stored;
}

SsvBindingAnswer JudgeStoredBinding(const StoredBinding& stored, const BindingFacts& facts) {
  switch (stored.status) {
    case platform::StoreStatus::kOk:
      break;
    case platform::StoreStatus::kNotFound:
      return {SsvBindingState::kNoBindingYet, {}};
    case platform::StoreStatus::kValueTooLarge:
      return {SsvBindingState::kCannotTell, "the binding at " + BindingLocation() + " is not one this library reads"};
    default: {
      const std::string problem = platform::MachineValueProblem(kSsvBindingLocation.key, kSsvBindingLocation.value);
      return {SsvBindingState::kCannotTell,
              "the binding at " + BindingLocation() + " cannot be read" + (problem.empty() ? "" : ": " + problem)};
    }
  }
  SsvBindingAnswer answer = JudgeSsvBinding(stored.bytes, facts.componentId, facts.ssvKey, facts.identity);
  if (answer.state == SsvBindingState::kCannotTell) {
    answer.reason += " (" + BindingLocation() + ")";
  }
  return answer;
}

SsvBindingAnswer CheckBinding() {
  BindingFacts facts;
  std::string reason;
  if (!GatherFacts(facts, reason)) {
    return {SsvBindingState::kCannotTell, reason};
  }
  return JudgeStoredBinding(ReadBinding(), facts);
}

// Which binding a new one replaces: any, or only a missing one or one of another record.
enum class Replacing { kAny, kNoneOrAnotherRecords };

// WriteBinding binds the current record to this machine under the machine lock, so that a
// record replaced meanwhile does not get the binding of the one before it. `written` says
// whether a binding was stored; with kNoneOrAnotherRecords a binding that names this record (or
// one this library cannot read) is kept, and that is success too.
bool WriteBinding(Replacing replacing, SsvBindingState& replaced, bool& written, std::string& reason) {
  written = false;
  const platform::MachineLock lock;
  if (lock.status() != platform::StoreStatus::kOk) {
    reason = "cannot take the machine lock";
    return false;
  }
  BindingFacts facts;
  if (!GatherFacts(facts, reason)) {
    return false;
  }
  const StoredBinding stored = ReadBinding();
  replaced = JudgeStoredBinding(stored, facts).state;
  if (replacing == Replacing::kNoneOrAnotherRecords && stored.status != platform::StoreStatus::kNotFound &&
      !(stored.status == platform::StoreStatus::kOk && SsvBindingNamesAnotherRecord(stored.bytes, facts.componentId))) {
    return true;
  }
  std::vector<std::uint8_t> binding;
  if (!SealSsvBinding(facts.componentId, facts.ssvKey, facts.identity, binding)) {
    reason = "the binding of this record to this machine cannot be computed";
    return false;
  }
  const platform::StoreStatus status =
      platform::WriteMachineValue(kSsvBindingLocation.key, kSsvBindingLocation.value, binding);
  if (status != platform::StoreStatus::kOk) {
    reason = "cannot store the binding at " + BindingLocation() +
             (status == platform::StoreStatus::kAccessDenied ? " (access denied)" : "");
    return false;
  }
  written = true;
  return true;
}

void Deliver(std::string* target, std::string text) {
  if (target != nullptr) {
    *target = std::move(text);
  }
}

}  // namespace

SsvBindingState CheckSsvBinding(std::string* reason) {
  if (reason != nullptr) {
    reason->clear();
  }
  return RunForC(SsvBindingState::kCannotTell, [&] {
    SsvBindingAnswer answer = CheckBinding();
    Deliver(reason, std::move(answer.reason));
    return answer.state;
  });
}

bool BindSsvToMachine(SsvBindingState* replaced, std::string* reason) {
  if (reason != nullptr) {
    reason->clear();
  }
  return RunForC(false, [&] {
    SsvBindingState previous = SsvBindingState::kCannotTell;
    std::string why;
    bool written = false;
    const bool bound = WriteBinding(Replacing::kAny, previous, written, why);
    if (bound && replaced != nullptr) {
      *replaced = previous;
    }
    Deliver(reason, std::move(why));
    return bound;
  });
}

bool BindSsvWhereUnbound() noexcept {
  return RunForC(false, [] {
    SsvBindingState previous = SsvBindingState::kCannotTell;
    std::string reason;
    bool written = false;
    return WriteBinding(Replacing::kNoneOrAnotherRecords, previous, written, reason) && written;
  });
}

const char* SsvBindingStateText(SsvBindingState state) {
  switch (state) {
    case SsvBindingState::kBoundToThisMachine:
      return "bound to this machine";
    case SsvBindingState::kCopiedFromAnotherMachine:
      return "copied from another machine";
    case SsvBindingState::kNoBindingYet:
      return "no binding yet";
    case SsvBindingState::kCannotTell:
      return "cannot tell";
  }
  return "unknown state";
}

}  // namespace QVCryptoService
