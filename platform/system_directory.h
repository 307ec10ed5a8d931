#pragma once

#include <string>

namespace QVCryptoService::platform {

// Where there is no system directory to use, the machine root stands in for it: the directory
// this variable names when it is set and not empty, else the default.
inline constexpr const char* kMachineRootVariable = "QVCRYPTO_MACHINE_ROOT";
inline constexpr const char* kDefaultMachineRoot = "/var/lib/qvcrypto";

// The file that holds this machine's identity (see platform/machine_identity.h): the file this
// variable names when it is set and not empty, else the system's own.
inline constexpr const char* kMachineIdFileVariable = "QVCRYPTO_MACHINE_ID_FILE";
inline constexpr const char* kDefaultMachineIdFile = "/etc/machine-id";

// SystemDirectory returns the directory in which machine-wide files of the library live: the
// Windows system directory, or the machine root on other systems. Read afresh on every call.
// Returns an empty string when the system cannot name it.
std::string SystemDirectory();

}  // namespace QVCryptoService::platform
