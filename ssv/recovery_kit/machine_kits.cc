// Backing up this machine's SSV record and storing a rebuilt one: the machine-store side of the
// recovery kits.

#include <qvcryptoservice/ssv_recovery.h>

#include "platform/machine_lock.h"
#include "platform/machine_store.h"
#include "platform/machine_trust.h"
#include "platform/private_file.h"
#include "platform/system_directory.h"
#include "ssv/machine_binding.h"
#include "ssv/record_layout.h"
#include "ssv/record_sources.h"
#include "ssv/recovery_kit/kit_seal.h"
#include "ssv/recovery_kit/recovery_kit.h"
#include "ssv/sharescheme/constant_time.h"

namespace QVCryptoService {

namespace {

SsvKitOutcome Refused(SsvKitStatus status, std::string message) {
  SsvKitOutcome outcome;
  outcome.status = status;
  outcome.message = std::move(message);
  return outcome;
}

// LoadedRecord reads the record the SSV engine would load: the staging file wins over the store.
bool LoadedRecord(SecureBlock& record) {
  return ReadRecordFile(StagingFilePath(platform::SystemDirectory()), record) || ReadStoredRecord(record);
}

bool SameRecord(const SecureBlock& a, const SecureBlock& b) {
  return a.size() == b.size() && sharescheme::EqualBytes(a.data(), b.data(), a.size());
}

std::string StoreProblem(platform::StoreStatus status) {
  return status == platform::StoreStatus::kAccessDenied ? "access denied" : "the machine store failed";
}

template <typename Body>
SsvKitOutcome Guarded(Body&& body) noexcept {
  try {
    return body();
  } catch (...) {
    SsvKitOutcome outcome;
    outcome.status = SsvKitStatus::kInternalError;
    return outcome;
  }
}

}  // namespace

SsvKitOutcome StoreRebuiltRecord(const SecureBlock& record, bool force) {
  // Looking and storing under the lock that generation takes, so that neither overwrites the
  // other's record unnoticed.
  const platform::MachineLock lock;
  if (lock.status() != platform::StoreStatus::kOk) {
    return Refused(SsvKitStatus::kStoreFailed, "cannot take the machine lock: " + StoreProblem(lock.status()));
  }
  if (const std::string problem = platform::MachinePathProblem(); !problem.empty()) {
    return Refused(SsvKitStatus::kStoreFailed, problem);
  }
  SsvKitOutcome outcome;
  outcome.componentId = std::string(record.begin(), record.begin() + kComponentIdSize);
  SecureBlock present;
  const bool loadable = LoadedRecord(present);
  if (loadable && SameRecord(present, record)) {
    outcome.message = "this SSV is already stored";
    return outcome;
  }
  if (!force && (loadable || SsvExists())) {
    return Refused(
        SsvKitStatus::kDifferentSsvStored,
        "this machine already has a different SSV" +
            (loadable ? " (component id " + std::string(present.begin(), present.begin() + kComponentIdSize) + ")"
                      : std::string()) +
            "; force the restore to replace it");
  }
  // A staging file left by an interrupted generation would win over the restored record.
  if (!platform::RemoveOwnStaleFile(StagingFilePath(platform::SystemDirectory()))) {
    return Refused(SsvKitStatus::kStoreFailed, "something that is not ours is in place of the staging file");
  }
  const auto& [key, value] = kCurrentSsvStoreLocation;
  if (const platform::StoreStatus stored = platform::WriteMachineValue(key, value, record);
      stored != platform::StoreStatus::kOk) {
    return Refused(SsvKitStatus::kStoreFailed, "cannot store the SSV record: " + StoreProblem(stored));
  }
  if (!LoadedRecord(present) || !SameRecord(present, record)) {
    return Refused(SsvKitStatus::kStoreFailed,
                   "the record was stored, but an older store location holds another one that is loaded first");
  }
  outcome.message = "SSV restored";
  return outcome;
}

SsvKitOutcome BackUpSsv(std::size_t threshold, const std::vector<SecureBlock>& passphrases,
                        std::vector<std::string>& kits) noexcept {
  return Guarded([&] {
    kits.clear();
    SecureBlock record;
    if (!platform::MachinePathProblem().empty() || !LoadedRecord(record)) {
      return Refused(SsvKitStatus::kNoSsv, "no readable SSV record on this machine");
    }
    return MakeKits(record, threshold, passphrases, kKitArgon2id, kits);
  });
}

SsvKitOutcome RestoreSsv(const std::vector<std::string>& kits, const std::vector<SecureBlock>& passphrases,
                         bool force) noexcept {
  return Guarded([&] {
    SecureBlock record;
    SsvKitOutcome rebuilt = RebuildRecord(kits, passphrases, kArgon2idPolicyDefault, record);
    if (rebuilt.status != SsvKitStatus::kOk) {
      return rebuilt;
    }
    SsvKitOutcome stored = StoreRebuiltRecord(record, force);
    // A binding left by the record this one replaced would call it copied from elsewhere.
    if (stored.status == SsvKitStatus::kOk) {
      stored.bindingWritten = BindSsvWhereUnbound();
    }
    return stored;
  });
}

}  // namespace QVCryptoService
