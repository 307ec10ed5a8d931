#pragma once

#include <string>

namespace QVCryptoService::platform {

// MachineRoot returns the directory that stands in for the machine's system-wide state (see
// kMachineRootVariable in platform/system_directory.h).
std::string MachineRoot();

// The directory of the machine root below which the store keeps its keys, one directory per key
// path component ("registry/SOFTWARE/Classes/SSV").
inline constexpr const char* kRegistryDirectory = "registry";

}  // namespace QVCryptoService::platform
