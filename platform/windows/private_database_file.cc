#include "platform/private_database_file.h"

#include <windows.h>

namespace QVCryptoService::platform {

bool PreparePrivateDatabaseFile(const std::string& path, std::string& reason) {
  // The file inherits the directory's ACL; CREATE_NEW fails on anything already there.
  const HANDLE created =
      CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (created != INVALID_HANDLE_VALUE) {
    (void)CloseHandle(created);
    return true;
  }
  if (GetLastError() != ERROR_FILE_EXISTS) {
    reason = "cannot create " + path;
    return false;
  }
  const DWORD attributes = GetFileAttributesA(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ||
      (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
    reason = path + " is not a regular file";
    return false;
  }
  return true;
}

bool MakePrivateDirectories(const std::string& path) {
  const DWORD attributes = GetFileAttributesA(path.c_str());
  if (attributes != INVALID_FILE_ATTRIBUTES) {
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  }
  const std::size_t separator = path.find_last_of("/\\");
  if (separator != std::string::npos && separator > 0 && path[separator - 1] != ':' &&
      !MakePrivateDirectories(path.substr(0, separator))) {
    return false;
  }
  return CreateDirectoryA(path.c_str(), nullptr) != 0 || GetLastError() == ERROR_ALREADY_EXISTS;
}

}  // namespace QVCryptoService::platform
