#pragma once

#include <string>

namespace QVCryptoService::platform {

// MachineRoot returns the directory that stands in for the machine's system-wide state:
// QVCRYPTO_MACHINE_ROOT when it is set and not empty, else /var/lib/qvcrypto.
std::string MachineRoot();

}  // namespace QVCryptoService::platform
