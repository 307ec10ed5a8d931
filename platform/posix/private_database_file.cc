#include "platform/private_database_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace QVCryptoService::platform {
namespace {

bool CheckExisting(const std::string& path, std::string& reason) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) {
    reason = "cannot examine " + path + ": " + std::strerror(errno);
    return false;
  }
  if (S_ISLNK(status.st_mode)) {
    reason = path + " is a symbolic link";
    return false;
  }
  if (!S_ISREG(status.st_mode)) {
    reason = path + " is not a regular file";
    return false;
  }
  if (status.st_uid != ::geteuid()) {
    reason = path + " belongs to another user";
    return false;
  }
  if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    reason = path + " is writable by group or others";
    return false;
  }
  return true;
}

}  // namespace

bool PreparePrivateDatabaseFile(const std::string& path, std::string& reason) {
  const int descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (descriptor >= 0) {
    if (::close(descriptor) != 0) {
      reason = "cannot create " + path + ": " + std::strerror(errno);
      (void)::unlink(path.c_str());
      return false;
    }
    return true;
  }
  if (errno != EEXIST) {
    reason = "cannot create " + path + ": " + std::strerror(errno);
    return false;
  }
  // O_EXCL refuses a symbolic link too, dangling or not: the check below names it.
  return CheckExisting(path, reason);
}

bool MakePrivateDirectories(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) == 0) {
    return S_ISDIR(status.st_mode);
  }
  const std::size_t slash = path.find_last_of('/');
  if (slash != std::string::npos && slash > 0 && !MakePrivateDirectories(path.substr(0, slash))) {
    return false;
  }
  // Another process may make it between the check and here; that one is as good.
  return (::mkdir(path.c_str(), 0700) == 0 || errno == EEXIST) && ::stat(path.c_str(), &status) == 0 &&
         S_ISDIR(status.st_mode);
}

}  // namespace QVCryptoService::platform
