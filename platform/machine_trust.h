#pragma once

// Whether what the library finds in the machine's state can be believed: only this account and
// the administrator may have been able to put it there.

#include <qvcryptoservice/secure_block.h>

#include <cstddef>
#include <string>

namespace QVCryptoService::platform {

// MachinePathProblem checks the machine root, every directory above it and the existing part of
// `below`, a path inside the root ("registry/SOFTWARE/Classes/SSV/SSV_Data"; empty for the root
// alone). Each must be owned by this account or root and not be writable by group or others; a
// directory above the root may be writable by everyone when it is root's and sticky (as /tmp is).
// The root and everything below it must not be symbolic links. Returns an empty string when all
// holds or the root does not exist yet, else one line that names the path and the problem.
// On Windows the answer is always empty: the system directory and HKEY_LOCAL_MACHINE admit
// writes from administrators and SYSTEM only, which the operating system enforces.
std::string MachinePathProblem(const std::string& below = "");

// MachineValueProblem is MachinePathProblem for the path of the machine store's value
// `valueName` of key `keyPath` ("SOFTWARE\Classes\SSV").
std::string MachineValueProblem(const std::string& keyPath, const std::string& valueName);

// MachineValueLocation says, for messages, where the machine store keeps the value `valueName` of
// key `keyPath`: its file below the machine root, or its registry key and value name.
std::string MachineValueLocation(const std::string& keyPath, const std::string& valueName);

enum class TrustedRead {
  kOk,
  kMissing,
  // Something is there but not ours: a link, not a regular file, a foreign owner, a loose mode.
  kRefused,
  kFailed,
};

// ReadTrustedFile reads at most `limit` bytes of the regular file `path` into `content`,
// replacing it, after checking what it opened (without following a final link) the way
// MachinePathProblem checks paths. `content` is left empty unless the result is kOk.
TrustedRead ReadTrustedFile(const std::string& path, std::size_t limit, SecureBlock& content);

}  // namespace QVCryptoService::platform
