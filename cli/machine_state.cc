#include "cli/machine_state.h"

#include "platform/machine_trust.h"
#include "platform/system_directory.h"
#include "ssv/record_layout.h"
#include "ssv/record_sources.h"

#include <algorithm>

namespace qvcrypto::machine {

using namespace QVCryptoService;

std::string SsvStagingDirectory() { return platform::SystemDirectory(); }

std::string SsvStagingFile() { return StagingFilePath(SsvStagingDirectory()); }

std::string SsvRecordLocation() {
  return platform::MachineValueLocation(kCurrentSsvStoreLocation.key, kCurrentSsvStoreLocation.value);
}

std::string MachineRootProblem() {
  std::string problem = platform::MachinePathProblem();
  for (const SsvStoreLocation& location : kSsvStoreLocations) {
    if (problem.empty()) {
      problem = platform::MachineValueProblem(location.key, location.value);
    }
  }
  return problem;
}

bool SsvPresent() { return SsvExists(); }

bool StagingFileHolds(const std::string& componentId) {
  SecureBlock record;
  return platform::ReadTrustedFile(SsvStagingFile(), kSsvRecordSize + 1, record) == platform::TrustedRead::kOk &&
         record.size() == kSsvRecordSize && componentId.size() == kComponentIdSize &&
         std::equal(componentId.begin(), componentId.end(), record.begin());
}

}  // namespace qvcrypto::machine
