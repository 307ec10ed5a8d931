#include "ssv/record_sources.h"

#include "platform/machine_store.h"
#include "platform/machine_trust.h"
#include "platform/system_directory.h"
#include "ssv/record_layout.h"

#include <algorithm>

namespace QVCryptoService {

bool ReadRecordFile(const std::string& path, SecureBlock& record) {
  record.clear();
  // One byte more than a record tells a longer file from one of exactly the right size.
  SecureBlock content;
  if (platform::ReadTrustedFile(path, kSsvRecordSize + 1, content) != platform::TrustedRead::kOk ||
      content.size() != kSsvRecordSize) {
    return false;
  }
  record = std::move(content);
  return true;
}

bool ReadStoredRecord(SecureBlock& record) {
  record.clear();
  for (const SsvStoreLocation& location : kSsvStoreLocations) {
    SecureBlock value;
    if (platform::ReadMachineValue(location.key, location.value, kSsvRecordSize, platform::RegistryView::kNative64,
                                   value) == platform::StoreStatus::kOk &&
        value.size() == kSsvRecordSize) {
      record = std::move(value);
      return true;
    }
  }
  return false;
}

bool SsvExists() {
  // Only whether the staging file opens counts, not its size or content.
  SecureBlock nothing;
  if (platform::ReadTrustedFile(StagingFilePath(platform::SystemDirectory()), 0, nothing) ==
      platform::TrustedRead::kOk) {
    return true;
  }
  return std::any_of(kSsvStoreLocations.begin(), kSsvStoreLocations.end(), [](const SsvStoreLocation& location) {
    SecureBlock value;
    return platform::ReadMachineValue(location.key, location.value, kSsvRecordSize, platform::RegistryView::kDefault,
                                      value) == platform::StoreStatus::kOk;
  });
}

}  // namespace QVCryptoService
