#include <qvcryptoservice/ssv_crypto.h>

#include "platform/machine_store.h"
#include "platform/private_file.h"
#include "ssv/record_sources.h"
#include "ssv/ssv_layout.h"
#include "ssv/ssv_record.h"

#include <cstdio>

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
// read back from it, which are what gets stored. The file never outlives the call.
bool StageRecord(const std::string& directory, const SecureBlock& record, SecureBlock& staged) {
  const std::string path = StagingFilePath(directory);
  const bool ok = platform::WritePrivateFile(path, record) && ReadRecordFile(path, staged);
  (void)std::remove(path.c_str());
  return ok;
}

}  // namespace

EQVKeystoreCode QVSSVCrypto::generateSSV(const std::string& directory, bool force) {
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
  return StoreResultCode(
      platform::WriteMachineValue(kCurrentSsvStoreLocation.key, kCurrentSsvStoreLocation.value, staged));
}

}  // namespace QVCryptoService
