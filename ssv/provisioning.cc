// Provisioning a machine's SSV: a new record, staged privately in the machine root and stored
// under the machine lock.

#include <qvcryptoservice/ssv_crypto.h>

#include "platform/machine_lock.h"
#include "platform/machine_store.h"
#include "platform/machine_trust.h"
#include "platform/private_file.h"
#include "ssv/record.h"
#include "ssv/record_layout.h"
#include "ssv/record_sources.h"

namespace QVCryptoService {

namespace {

EQVKeystoreCode StoreResultCode(platform::StoreStatus status) {
  switch (status) {
    case platform::StoreStatus::kOk:
      return KS_SUCCESS;
    case platform::StoreStatus::kAccessDenied:
      return KS_ERR_NO_SSV_PERMISSION;
    default:
      return KS_ERR_RESERVED_13;
  }
}

// StageRecord passes the record through the staging file in `directory` and returns the bytes
// read back from it, which are what gets stored. A file of ours left there by an interrupted run
// is cleared first; anything else there (another account's file, a link) is refused, and the new
// file is created afresh, private from the start. It never outlives the call.
bool StageRecord(const std::string& directory, const SecureBlock& record, SecureBlock& staged) {
  const std::string path = StagingFilePath(directory);
  if (!platform::RemoveOwnStaleFile(path) || !platform::WritePrivateFile(path, record)) {
    return false;
  }
  const bool ok = ReadRecordFile(path, staged);
  (void)platform::RemoveOwnStaleFile(path);
  return ok;
}

}  // namespace

EQVKeystoreCode QVSSVCrypto::generateSSV(const std::string& directory, bool force) {
  // Looking, making and storing happen under one machine-wide lock, so that processes that start
  // at the same time store one record between them and all report it. The look comes under the
  // lock too: another process's staging file counts as an SSV, but is gone before its record is
  // stored, so a look past the lock could report a record that nobody can load yet.
  const platform::MachineLock lock;
  if (lock.status() != platform::StoreStatus::kOk) {
    return StoreResultCode(lock.status());
  }
  // A machine root that others may write is refused before anything in it is believed or changed;
  // checked under the lock, which makes a missing root (private) first, so nothing made in the
  // meantime escapes the check.
  if (!platform::MachinePathProblem().empty()) {
    return KS_ERR_NO_SSV_PERMISSION;
  }
  if (!force && SsvExists()) {
    return KS_SUCCESS;
  }
  SecureBlock record;
  if (!BuildSsvRecord(record)) {
    return KS_ERR_UNSPECIFIED;
  }
  SecureBlock staged;
  if (!StageRecord(directory, record, staged)) {
    return KS_ERR_SSV_NOT_INITIALIZED;
  }
  const auto& [key, value] = kCurrentSsvStoreLocation;
  platform::StoreStatus stored =
      force ? platform::WriteMachineValue(key, value, staged) : platform::CreateMachineValue(key, value, staged);
  if (stored == platform::StoreStatus::kAlreadyExists) {
    // A writer that ignores the lock stored a record since the look: it stays. A value that was
    // there all along without counting as an SSV (longer than a record) is replaced, as a forced
    // generation would.
    stored = SsvExists() ? platform::StoreStatus::kOk : platform::WriteMachineValue(key, value, staged);
  }
  return StoreResultCode(stored);
}

}  // namespace QVCryptoService
