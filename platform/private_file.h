#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace QVCryptoService::platform {

// WritePrivateFile creates `path` (or truncates it) and writes `data` to it, readable and
// writable by its owner only where the system has file modes (mode 0600, and a symbolic link at
// `path` is refused); on Windows the file takes the directory's access rules. Returns false when any step fails; the
// file may then exist with partial content, and the caller removes it.
bool WritePrivateFile(const std::string& path, std::span<const std::uint8_t> data);

}  // namespace QVCryptoService::platform
