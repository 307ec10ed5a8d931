#include "platform/machine_trust.h"

#include "platform/posix/machine_root.h"
#include "platform/posix/path_trust.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>

namespace QVCryptoService::platform {

namespace {

constexpr mode_t kWritableByOthers = S_IWGRP | S_IWOTH;

std::string OwnerProblem(const std::string& what, const struct stat& status) {
  return what + " is owned by uid " + std::to_string(status.st_uid) + ", neither this account nor root";
}

// Prefixes of an absolute path: "/", "/a", "/a/b", ...
template <typename Visit>
std::string ForEachPrefix(const std::string& path, Visit visit) {
  std::string problem = visit(std::string("/"));
  for (std::size_t end = 1; problem.empty() && end < path.size(); ++end) {
    end = path.find('/', end);
    problem = visit(path.substr(0, end));
    if (end == std::string::npos) {
      break;
    }
  }
  return problem;
}

// AncestorProblem checks the directories above the root. Links among them are followed, but
// only when they belong to this account or root; the directories they lead to are checked.
std::string AncestorProblem(const std::string& parent) {
  std::string problem = ForEachPrefix(parent, [](const std::string& prefix) {
    struct stat status {};
    if (::lstat(prefix.c_str(), &status) == 0 && S_ISLNK(status.st_mode) && !IsTrustedOwner(status.st_uid)) {
      return OwnerProblem("link " + prefix, status);
    }
    return std::string();
  });
  if (!problem.empty()) {
    return problem;
  }
  const std::unique_ptr<char, decltype(&std::free)> resolved(::realpath(parent.c_str(), nullptr), &std::free);
  if (!resolved) {
    return {};  // Nothing there yet: no root and nothing in it to trust.
  }
  return ForEachPrefix(resolved.get(), [](const std::string& prefix) {
    struct stat status {};
    if (::stat(prefix.c_str(), &status) != 0) {
      return std::string();
    }
    if (!IsTrustedOwner(status.st_uid)) {
      return OwnerProblem(prefix, status);
    }
    const bool stickyRootOwned = status.st_uid == 0 && (status.st_mode & S_ISVTX) != 0;
    if ((status.st_mode & kWritableByOthers) != 0 && !stickyRootOwned) {
      return prefix + " is writable by group or others";
    }
    return std::string();
  });
}

// EntryProblem checks the root or something inside it; `exists` is cleared when it is missing.
std::string EntryProblem(const std::string& what, const std::string& path, bool& exists) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) {
    exists = false;
    return errno == ENOENT || errno == ENOTDIR ? std::string() : what + " cannot be examined";
  }
  if (S_ISLNK(status.st_mode)) {
    return what + " is a symbolic link";
  }
  return TrustProblem(what, status);
}

// The value's file relative to the machine root: "registry/SOFTWARE/Classes/SSV/SSV_Data".
std::string ValuePathBelowRoot(const std::string& keyPath, const std::string& valueName) {
  std::string below = std::string(kRegistryDirectory) + "/" + keyPath + "/" + valueName;
  std::replace(below.begin(), below.end(), '\\', '/');
  return below;
}

}  // namespace

bool IsTrustedOwner(uid_t owner) noexcept { return owner == 0 || owner == ::geteuid(); }

bool IsTrustedStatus(const struct stat& status) noexcept {
  return IsTrustedOwner(status.st_uid) && (status.st_mode & kWritableByOthers) == 0;
}

std::string TrustProblem(const std::string& what, const struct stat& status) {
  if (!IsTrustedOwner(status.st_uid)) {
    return OwnerProblem(what, status);
  }
  if ((status.st_mode & kWritableByOthers) != 0) {
    return what + " is writable by group or others";
  }
  return {};
}

std::string MachinePathProblem(const std::string& below) {
  std::string root = MachineRoot();
  if (root.front() != '/') {
    const std::unique_ptr<char, decltype(&std::free)> current(::getcwd(nullptr, 0), &std::free);
    root = std::string(current ? current.get() : "") + "/" + root;
  }
  while (root.size() > 1 && root.back() == '/') {
    root.pop_back();
  }
  const std::size_t slash = root.rfind('/');
  std::string problem = AncestorProblem(slash == 0 ? std::string("/") : root.substr(0, slash));
  bool exists = true;
  if (problem.empty()) {
    problem = EntryProblem("machine root " + root, root, exists);
  }
  std::string path = root;
  for (std::size_t start = 0; problem.empty() && exists && start < below.size();) {
    const std::size_t end = below.find('/', start);
    path += '/';
    path += below.substr(start, end == std::string::npos ? std::string::npos : end - start);
    problem = EntryProblem(path + " in the machine root", path, exists);
    start = end == std::string::npos ? below.size() : end + 1;
  }
  return problem;
}

std::string MachineValueProblem(const std::string& keyPath, const std::string& valueName) {
  return MachinePathProblem(ValuePathBelowRoot(keyPath, valueName));
}

std::string MachineValueLocation(const std::string& keyPath, const std::string& valueName) {
  return MachineRoot() + "/" + ValuePathBelowRoot(keyPath, valueName);
}

int ReadTrustedFileAt(const std::string& path, std::size_t limit, SecureBlock& content) {
  content.clear();
  // O_NONBLOCK keeps a planted FIFO from stalling the open; it is refused just below.
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) {
    return errno;
  }
  struct stat status {};
  int error = ::fstat(descriptor, &status) != 0 ? errno : 0;
  if (error == 0 && (!S_ISREG(status.st_mode) || !IsTrustedStatus(status))) {
    error = EPERM;
  }
  SecureBlock buffer(error == 0 ? limit : 0);
  std::size_t filled = 0;
  while (error == 0 && filled < limit) {
    const ssize_t count = ::read(descriptor, buffer.data() + filled, limit - filled);
    if (count < 0 && errno != EINTR && errno != EAGAIN) {
      error = errno;
    } else if (count == 0) {
      break;
    } else if (count > 0) {
      filled += static_cast<std::size_t>(count);
    }
  }
  (void)::close(descriptor);
  if (error != 0) {
    return error;
  }
  buffer.resize(filled);
  content = std::move(buffer);
  return 0;
}

TrustedRead ReadTrustedFile(const std::string& path, std::size_t limit, SecureBlock& content) {
  switch (ReadTrustedFileAt(path, limit, content)) {
    case 0:
      return TrustedRead::kOk;
    case ENOENT:
    case ENOTDIR:
      return TrustedRead::kMissing;
    case ELOOP:
    case EPERM:
      return TrustedRead::kRefused;
    default:
      return TrustedRead::kFailed;
  }
}

}  // namespace QVCryptoService::platform
