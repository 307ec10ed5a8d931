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

SsvBindingAnswer InspectBinding(const BindingFacts& facts) {
  SecureBlock binding;
  const platform::StoreStatus status = platform::ReadMachineValue(
      kSsvBindingLocation.key, kSsvBindingLocation.value, kSsvBindingSize, platform::RegistryView::kNative64, binding);
  switch (status) {
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
  SsvBindingAnswer answer = JudgeSsvBinding(binding, facts.componentId, facts.ssvKey, facts.identity);
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
  return InspectBinding(facts);
}

// WriteBinding binds the current record to this machine under the machine lock, so that a
// record replaced meanwhile does not get the binding of the one before it.
bool WriteBinding(SsvBindingState& replaced, std::string& reason) {
  const platform::MachineLock lock;
  if (lock.status() != platform::StoreStatus::kOk) {
    reason = "cannot take the machine lock";
    return false;
  }
  BindingFacts facts;
  if (!GatherFacts(facts, reason)) {
    return false;
  }
  replaced = InspectBinding(facts).state;
  std::vector<std::uint8_t> binding;
  if (!SealSsvBinding(facts.componentId, facts.ssvKey, facts.identity, binding)) {
    reason = "the binding of this record to this machine cannot be computed";
    return false;
  }
  const platform::StoreStatus stored =
      platform::WriteMachineValue(kSsvBindingLocation.key, kSsvBindingLocation.value, binding);
  if (stored != platform::StoreStatus::kOk) {
    reason = "cannot store the binding at " + BindingLocation() +
             (stored == platform::StoreStatus::kAccessDenied ? " (access denied)" : "");
    return false;
  }
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
    const bool bound = WriteBinding(previous, why);
    if (bound && replaced != nullptr) {
      *replaced = previous;
    }
    Deliver(reason, std::move(why));
    return bound;
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
