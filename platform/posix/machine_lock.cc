#include "platform/machine_lock.h"

#include "platform/posix/machine_root.h"
#include "platform/posix/path_trust.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

namespace QVCryptoService::platform {

namespace {

StoreStatus StatusOfError(int error) {
  return error == EACCES || error == EPERM ? StoreStatus::kAccessDenied : StoreStatus::kOtherError;
}

// MakeMachineRoot creates the root and any missing directory above it with mode 0700, as the
// store does for the directories of its keys.
int MakeMachineRoot(const std::string& root) {
  for (std::size_t end = root.find('/', 1);; end = root.find('/', end + 1)) {
    if (::mkdir(root.substr(0, end).c_str(), 0700) != 0 && errno != EEXIST) {
      return errno;
    }
    if (end == std::string::npos) {
      return 0;
    }
  }
}

}  // namespace

MachineLock::MachineLock() : handle_(-1), status_(StoreStatus::kOtherError) {
  const std::string root = MachineRoot();
  if (const int error = MakeMachineRoot(root); error != 0) {
    status_ = StatusOfError(error);
    return;
  }
  const std::string path = root + "/ssv.lock";
  const int descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (descriptor < 0) {
    status_ = StatusOfError(errno);
    return;
  }
  // A lock file that someone else may write or replace would let them hold us off or in.
  struct stat status {};
  if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) || !IsTrustedStatus(status)) {
    (void)::close(descriptor);
    status_ = StoreStatus::kAccessDenied;
    return;
  }
  int locked = 0;
  do {
    locked = ::flock(descriptor, LOCK_EX);
  } while (locked != 0 && errno == EINTR);
  if (locked != 0) {
    status_ = StatusOfError(errno);
    (void)::close(descriptor);
    return;
  }
  handle_ = descriptor;
  status_ = StoreStatus::kOk;
}

MachineLock::~MachineLock() {
  if (handle_ >= 0) {
    // Closing the only descriptor of the open file releases the flock.
    (void)::close(static_cast<int>(handle_));
  }
}

}  // namespace QVCryptoService::platform
