#include "platform/replacement_file.h"

#include "platform/posix/descriptor_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <utility>

namespace QVCryptoService::platform {

namespace {

constexpr mode_t kPrivateMode = 0600;

// The regular file now at `path`, when the replacement is to keep its owner and mode.
std::optional<struct stat> KeptFile(const std::string& path, ReplacementMode mode) noexcept {
  struct stat status {};
  if (mode == ReplacementMode::kKeepExisting && ::lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode)) {
    return status;
  }
  return std::nullopt;
}

// TakeOwnerAndMode gives the new file the owner, group and permission bits of the file it
// replaces. Only root may give a file away: for anyone else this holds when the file was theirs.
bool TakeOwnerAndMode(int descriptor, const struct stat& kept) noexcept {
  return ::fchown(descriptor, kept.st_uid, kept.st_gid) == 0 && ::fchmod(descriptor, kept.st_mode & 0777) == 0;
}

void SyncDirectoryOf(const std::string& path) noexcept {
  const std::size_t slash = path.find_last_of('/');
  const std::string directory = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
  const int descriptor = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor >= 0) {
    (void)::fsync(descriptor);
    (void)::close(descriptor);
  }
}

}  // namespace

ReplacementFile::ReplacementFile(std::string path, ReplacementMode mode) noexcept : path_(std::move(path)) {
  try {
    temporaryPath_ = TemporaryPathBeside(path_);
  } catch (...) {
    temporaryPath_.clear();
  }
  if (temporaryPath_.empty()) {
    return;
  }
  const std::optional<struct stat> kept = KeptFile(path_, mode);
  // Created with at most 0600, so the bytes are never more open than they end up; the kept owner
  // and mode are then set exactly, whatever the umask. A replacement that cannot have them is
  // no replacement: the file at `path` stays as it is.
  const int descriptor =
      ::open(temporaryPath_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kPrivateMode);
  if (descriptor < 0) {
    return;
  }
  handle_ = descriptor;
  if (kept && !TakeOwnerAndMode(descriptor, *kept)) {
    Discard();
  }
}

ReplacementFile::~ReplacementFile() { Discard(); }

bool ReplacementFile::Write(std::span<const std::uint8_t> data) noexcept {
  if (!valid() || failed_) {
    return false;
  }
  failed_ = WriteAllToDescriptor(static_cast<int>(handle_), data.data(), data.size()) != 0;
  return !failed_;
}

bool ReplacementFile::Commit() noexcept {
  if (!valid() || failed_) {
    Discard();
    return false;
  }
  const int descriptor = static_cast<int>(std::exchange(handle_, kNoHandle));
  const bool synced = ::fsync(descriptor) == 0;
  const bool closed = ::close(descriptor) == 0;
  if (!synced || !closed || ::rename(temporaryPath_.c_str(), path_.c_str()) != 0) {
    (void)::unlink(temporaryPath_.c_str());
    return false;
  }
  SyncDirectoryOf(path_);
  return true;
}

void ReplacementFile::Discard() noexcept {
  if (valid()) {
    (void)::close(static_cast<int>(std::exchange(handle_, kNoHandle)));
    (void)::unlink(temporaryPath_.c_str());
  }
}

}  // namespace QVCryptoService::platform
