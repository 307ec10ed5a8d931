#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace QVCryptoService::platform {

// How the file that replaces `path` is admitted to others.
enum class ReplacementMode {
  kPrivate,  // mode 0600 from its creation on (on Windows, a DACL that admits this account alone)
  // The owner, group and permission bits (on Windows, the DACL) of the regular file now at
  // `path`; as kPrivate when there is none. A replacement that cannot have them is not valid().
  kKeepExisting,
};

// ReplacementFile takes the place of `path` only when the whole operation succeeded. The bytes go
// to a new file beside `path` (same directory, so the final rename stays on one file system),
// created exclusively without following links (O_CREAT|O_EXCL|O_NOFOLLOW, CREATE_NEW) and never
// more open than its mode from the start. Commit() flushes it to disk, renames it over `path` and
// flushes the directory; a ReplacementFile destroyed before a successful Commit() removes its
// file again, so `path` stays exactly as it was. Nothing here throws.
class ReplacementFile {
 public:
  explicit ReplacementFile(std::string path, ReplacementMode mode = ReplacementMode::kPrivate) noexcept;
  ~ReplacementFile();
  ReplacementFile(const ReplacementFile&) = delete;
  ReplacementFile& operator=(const ReplacementFile&) = delete;

  // False when the file beside `path` could not be created; every later call then fails.
  bool valid() const noexcept { return handle_ != kNoHandle; }

  // Write appends `data`. False when this or any earlier write failed.
  bool Write(std::span<const std::uint8_t> data) noexcept;

  // Commit puts the written file in the place of `path`. False, with the new file removed and
  // `path` untouched, when a write failed or the file could not be flushed or renamed. Once the
  // rename has taken place the answer is true: the directory flush that follows is best effort.
  bool Commit() noexcept;

 private:
  static constexpr std::intptr_t kNoHandle = -1;

  // TemporaryPathBeside names a file in the directory of `path` that nobody can predict: the
  // path itself with a random suffix. Empty when the random generator fails.
  static std::string TemporaryPathBeside(const std::string& path);
  void Discard() noexcept;

  std::string path_;
  std::string temporaryPath_;
  std::intptr_t handle_ = kNoHandle;  // a descriptor, or a HANDLE on Windows
  bool failed_ = false;
};

}  // namespace QVCryptoService::platform
