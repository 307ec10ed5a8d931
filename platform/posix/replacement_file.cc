#include "platform/replacement_file.h"

#include "platform/posix/descriptor_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace QVCryptoService::platform {

namespace {

constexpr mode_t kPrivateMode = 0600;

mode_t ModeFor(const std::string& path, ReplacementMode mode) noexcept {
  struct stat status {};
  if (mode == ReplacementMode::kKeepExisting && ::lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode)) {
    return status.st_mode & 0777;
  }
  return kPrivateMode;
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

ReplacementFile::ReplacementFile(std::string path, ReplacementMode mode) noexcept : m_path(std::move(path)) {
  try {
    m_temporaryPath = TemporaryPathBeside(m_path);
  } catch (...) {
    m_temporaryPath.clear();
  }
  if (m_temporaryPath.empty()) {
    return;
  }
  const mode_t permissions = ModeFor(m_path, mode);
  // Created with at most 0600, so the bytes are never more open than they end up; fchmod then
  // sets the kept mode exactly, whatever the umask.
  const int descriptor =
      ::open(m_temporaryPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kPrivateMode);
  if (descriptor < 0) {
    return;
  }
  m_handle = descriptor;
  if (permissions != kPrivateMode && ::fchmod(descriptor, permissions) != 0) {
    Discard();
  }
}

ReplacementFile::~ReplacementFile() { Discard(); }

bool ReplacementFile::Write(std::span<const std::uint8_t> data) noexcept {
  if (!valid() || m_failed) {
    return false;
  }
  m_failed = WriteAllToDescriptor(static_cast<int>(m_handle), data.data(), data.size()) != 0;
  return !m_failed;
}

bool ReplacementFile::Commit() noexcept {
  if (!valid() || m_failed) {
    Discard();
    return false;
  }
  const int descriptor = static_cast<int>(std::exchange(m_handle, kNoHandle));
  const bool synced = ::fsync(descriptor) == 0;
  const bool closed = ::close(descriptor) == 0;
  if (!synced || !closed || ::rename(m_temporaryPath.c_str(), m_path.c_str()) != 0) {
    (void)::unlink(m_temporaryPath.c_str());
    return false;
  }
  SyncDirectoryOf(m_path);
  return true;
}

void ReplacementFile::Discard() noexcept {
  if (valid()) {
    (void)::close(static_cast<int>(std::exchange(m_handle, kNoHandle)));
    (void)::unlink(m_temporaryPath.c_str());
  }
}

}  // namespace QVCryptoService::platform
