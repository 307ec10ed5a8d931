#pragma once

#include <string>

namespace QVCryptoService::platform {

// SystemDirectory returns the directory in which machine-wide files of the library live: the
// Windows system directory, or the machine root on other systems (QVCRYPTO_MACHINE_ROOT when it
// is set and not empty, else /var/lib/qvcrypto). Read afresh on every call. Returns an empty
// string when the system cannot name it.
std::string SystemDirectory();

}  // namespace QVCryptoService::platform
