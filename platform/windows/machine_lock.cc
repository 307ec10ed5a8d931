#include "platform/machine_lock.h"

#include "platform/system_directory.h"
#include "platform/windows/security_descriptor.h"

#include <windows.h>

#include <string>

namespace QVCryptoService::platform {

MachineLock::MachineLock() : handle_(0), status_(StoreStatus::kOtherError) {
  const std::string directory = SystemDirectory();
  if (directory.empty()) {
    return;
  }
  // Whoever may open the lock file may hold the lock, and keep every provisioning waiting: it is
  // made admitting SYSTEM and Administrators only (in a directory where only they may make it).
  AdministratorsOnlyDescriptor descriptor(SecuredObject::kFile);
  if (!descriptor.valid()) {
    return;
  }
  const std::string path = directory + "\\qvcrypto-ssv.lock";
  const HANDLE file = CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                  descriptor.attributes(), OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    status_ = GetLastError() == ERROR_ACCESS_DENIED ? StoreStatus::kAccessDenied : StoreStatus::kOtherError;
    return;
  }
  OVERLAPPED start{};
  if (!LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &start)) {
    (void)CloseHandle(file);
    return;
  }
  handle_ = reinterpret_cast<std::intptr_t>(file);
  status_ = StoreStatus::kOk;
}

MachineLock::~MachineLock() {
  if (status_ == StoreStatus::kOk) {
    const HANDLE file = reinterpret_cast<HANDLE>(handle_);
    OVERLAPPED start{};
    (void)UnlockFileEx(file, 0, 1, 0, &start);
    (void)CloseHandle(file);
  }
}

}  // namespace QVCryptoService::platform
