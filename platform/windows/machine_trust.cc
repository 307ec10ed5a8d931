#include "platform/machine_trust.h"

#include <windows.h>

#include <algorithm>

namespace QVCryptoService::platform {

// The machine's state lives in HKEY_LOCAL_MACHINE and the system directory, which only
// administrators and SYSTEM may write; Windows enforces that, so there is nothing to refuse.
std::string MachinePathProblem(const std::string& /*below*/) { return {}; }

std::string MachineValueProblem(const std::string& /*keyPath*/, const std::string& /*valueName*/) { return {}; }

std::string MachineValueLocation(const std::string& keyPath, const std::string& valueName) {
  return "HKLM\\" + keyPath + ", value " + valueName;
}

TrustedRead ReadTrustedFile(const std::string& path, std::size_t limit, SecureBlock& content) {
  content.clear();
  const HANDLE file =
      CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    const DWORD error = GetLastError();
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ? TrustedRead::kMissing
                                                                          : TrustedRead::kFailed;
  }
  SecureBlock buffer(limit);
  std::size_t filled = 0;
  bool ok = true;
  while (ok && filled < limit) {
    const DWORD chunk = static_cast<DWORD>(std::min<std::size_t>(limit - filled, 0x10000000));
    DWORD count = 0;
    ok = ReadFile(file, buffer.data() + filled, chunk, &count, nullptr) != 0;
    if (ok && count == 0) {
      break;
    }
    filled += count;
  }
  (void)CloseHandle(file);
  if (!ok) {
    return TrustedRead::kFailed;
  }
  buffer.resize(filled);
  content = std::move(buffer);
  return TrustedRead::kOk;
}

}  // namespace QVCryptoService::platform
