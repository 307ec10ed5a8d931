#include "ssv/record_sources.h"

#include "platform/machine_store.h"
#include "platform/system_directory.h"
#include "ssv/ssv_layout.h"

#include <algorithm>
#include <fstream>

namespace QVCryptoService {

namespace {

// OpenUnbuffered opens `path` for binary reading without a stream buffer, so that record bytes
// go straight into locked memory and leave no copy in the heap.
void OpenUnbuffered(std::ifstream& file, const std::string& path) {
  file.rdbuf()->pubsetbuf(nullptr, 0);
  file.open(path, std::ios::binary);
}

}  // namespace

bool ReadRecordFile(const std::string& path, SecureBlock& record) {
  record.clear();
  std::ifstream file;
  OpenUnbuffered(file, path);
  if (!file.is_open() || !file.seekg(0, std::ios::end)) {
    return false;
  }
  const std::streamoff length = file.tellg();
  if (length != static_cast<std::streamoff>(kSsvRecordSize) || !file.seekg(0, std::ios::beg)) {
    return false;
  }
  SecureBlock content(kSsvRecordSize);
  if (!file.read(reinterpret_cast<char*>(content.data()), static_cast<std::streamsize>(content.size()))) {
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
  if (std::ifstream(StagingFilePath(platform::SystemDirectory()), std::ios::binary).is_open()) {
    return true;
  }
  return std::any_of(kSsvStoreLocations.begin(), kSsvStoreLocations.end(), [](const SsvStoreLocation& location) {
    SecureBlock value;
    return platform::ReadMachineValue(location.key, location.value, kSsvRecordSize, platform::RegistryView::kDefault,
                                      value) == platform::StoreStatus::kOk;
  });
}

}  // namespace QVCryptoService
