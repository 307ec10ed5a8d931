#include "platform/system_directory.h"

#include "platform/posix/machine_root.h"

#include <cstdlib>

namespace QVCryptoService::platform {

std::string MachineRoot() {
  // Read on every call: tests point each case at a fresh directory.
  const char* overridden = std::getenv(kMachineRootVariable);
  if (overridden != nullptr && overridden[0] != '\0') {
    return overridden;
  }
  return kDefaultMachineRoot;
}

std::string SystemDirectory() { return MachineRoot(); }

}  // namespace QVCryptoService::platform
