#include "platform/replacement_file.h"
#include "platform/windows/security_descriptor.h"

#include <windows.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace QVCryptoService::platform {

namespace {

// Paths come as the ANSI code page's text, as everywhere else the library opens files.
std::wstring WidePath(const std::string& path) {
  if (path.empty() || path.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
    return {};
  }
  const int size = MultiByteToWideChar(CP_ACP, 0, path.data(), static_cast<int>(path.size()), nullptr, 0);
  if (size <= 0) {
    return {};
  }
  std::wstring wide(static_cast<std::size_t>(size), L'\0');
  (void)MultiByteToWideChar(CP_ACP, 0, path.data(), static_cast<int>(path.size()), wide.data(), size);
  return wide;
}

HANDLE AsHandle(std::intptr_t handle) noexcept { return reinterpret_cast<HANDLE>(handle); }

}  // namespace

// Windows files have no mode bits: a private file gets a DACL that admits the calling account
// alone, and a file that keeps the existing one's admission gets that file's DACL. Either is set
// when the file is created, never afterwards.
ReplacementFile::ReplacementFile(std::string path, ReplacementMode mode) noexcept : path_(std::move(path)) {
  try {
    temporaryPath_ = TemporaryPathBeside(path_);
    if (temporaryPath_.empty()) {
      return;
    }
    const std::wstring existing = mode == ReplacementMode::kKeepExisting ? WidePath(path_) : std::wstring();
    OwnerOnlyFileDescriptor descriptor(existing.empty() ? nullptr : existing.c_str());
    if (!descriptor.valid()) {
      return;
    }
    // CREATE_NEW fails on anything already there, a link included.
    const HANDLE file = CreateFileW(WidePath(temporaryPath_).c_str(), GENERIC_WRITE, 0, descriptor.attributes(),
                                    CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file != INVALID_HANDLE_VALUE) {
      handle_ = reinterpret_cast<std::intptr_t>(file);
    }
  } catch (...) {
    Discard();
  }
}

ReplacementFile::~ReplacementFile() { Discard(); }

bool ReplacementFile::Write(std::span<const std::uint8_t> data) noexcept {
  std::size_t written = 0;
  while (valid() && !failed_ && written < data.size()) {
    const DWORD chunk = static_cast<DWORD>(std::min<std::size_t>(data.size() - written, 0x10000000));
    DWORD count = 0;
    failed_ = !WriteFile(AsHandle(handle_), data.data() + written, chunk, &count, nullptr) || count == 0;
    written += count;
  }
  return valid() && !failed_;
}

bool ReplacementFile::Commit() noexcept {
  if (!valid() || failed_) {
    Discard();
    return false;
  }
  try {
    const HANDLE file = AsHandle(std::exchange(handle_, kNoHandle));
    const bool flushed = FlushFileBuffers(file) != 0;
    const bool closed = CloseHandle(file) != 0;
    const std::wstring temporary = WidePath(temporaryPath_);
    // MOVEFILE_WRITE_THROUGH returns only once the rename is on disk: the directory flush of POSIX.
    if (flushed && closed &&
        MoveFileExW(temporary.c_str(), WidePath(path_).c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
      return true;
    }
    (void)DeleteFileW(temporary.c_str());
  } catch (...) {
    (void)DeleteFileA(temporaryPath_.c_str());
  }
  return false;
}

void ReplacementFile::Discard() noexcept {
  if (valid()) {
    (void)CloseHandle(AsHandle(std::exchange(handle_, kNoHandle)));
    (void)DeleteFileA(temporaryPath_.c_str());
  }
}

}  // namespace QVCryptoService::platform
