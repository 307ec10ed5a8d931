#include "platform/system_directory.h"

#include <windows.h>

namespace QVCryptoService::platform {

std::string SystemDirectory() {
  char buffer[MAX_PATH];
  const UINT length = GetSystemDirectoryA(buffer, MAX_PATH);
  // Zero is failure; a length of MAX_PATH or more is the size the path would need.
  if (length == 0 || length >= MAX_PATH) {
    return {};
  }
  return std::string(buffer, length);
}

}  // namespace QVCryptoService::platform
