#pragma once

#include "platform/machine_store.h"

#include <cstdint>

namespace QVCryptoService::platform {

// MachineLock holds, for its lifetime, the machine-wide lock under which the SSV is looked for,
// made and stored, so that processes creating it at the same time agree on one record. The lock
// is a file next to the staging file: "ssv.lock" in the machine root (made 0700 when missing;
// flock), "qvcrypto-ssv.lock" in the Windows system directory (LockFileEx). Waits until the lock
// is free; the operating system lets go of it when the process ends.
class MachineLock {
 public:
  MachineLock();
  ~MachineLock();
  MachineLock(const MachineLock&) = delete;
  MachineLock& operator=(const MachineLock&) = delete;

  // kOk while the lock is held; kAccessDenied or kOtherError when it could not be taken.
  StoreStatus status() const noexcept { return status_; }

 private:
  std::intptr_t handle_;
  StoreStatus status_;
};

}  // namespace QVCryptoService::platform
