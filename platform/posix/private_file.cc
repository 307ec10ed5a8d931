#include "platform/private_file.h"

#include "platform/posix/descriptor_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace QVCryptoService::platform {

bool WritePrivateFile(const std::string& path, std::span<const std::uint8_t> data) {
  // O_EXCL with O_NOFOLLOW: never a file or link someone else put there, and 0600 from the start.
  const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (descriptor < 0) {
    return false;
  }
  const bool written = WriteAllToDescriptor(descriptor, data.data(), data.size()) == 0;
  const bool closed = ::close(descriptor) == 0;
  if (written && closed) {
    return true;
  }
  (void)::unlink(path.c_str());
  return false;
}

bool RemoveOwnStaleFile(const std::string& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) {
    return errno == ENOENT;
  }
  if (!S_ISREG(status.st_mode) || status.st_uid != ::geteuid()) {
    return false;
  }
  return ::unlink(path.c_str()) == 0 || errno == ENOENT;
}

bool MakePrivateDirectory(const std::string& path) {
  // mkdir fails on anything already there, a dangling link included, and never follows a link.
  if (::mkdir(path.c_str(), 0700) != 0) {
    return false;
  }
  // A umask may have taken bits away, or the directory may have been replaced since: only our own
  // directory as asked for is taken.
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == ::geteuid() &&
         (status.st_mode & 07777) == 0700;
}

}  // namespace QVCryptoService::platform
