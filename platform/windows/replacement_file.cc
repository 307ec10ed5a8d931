#include "platform/replacement_file.h"

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

// Windows files have no mode bits: the new file inherits its directory's ACL whichever mode is
// asked for, as a file written there in place would.
ReplacementFile::ReplacementFile(std::string path, ReplacementMode /*mode*/) noexcept : m_path(std::move(path)) {
  try {
    m_temporaryPath = TemporaryPathBeside(m_path);
    if (m_temporaryPath.empty()) {
      return;
    }
    // CREATE_NEW fails on anything already there, a link included.
    const HANDLE file = CreateFileW(WidePath(m_temporaryPath).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file != INVALID_HANDLE_VALUE) {
      m_handle = reinterpret_cast<std::intptr_t>(file);
    }
  } catch (...) {
    Discard();
  }
}

ReplacementFile::~ReplacementFile() { Discard(); }

bool ReplacementFile::Write(std::span<const std::uint8_t> data) noexcept {
  std::size_t written = 0;
  while (valid() && !m_failed && written < data.size()) {
    const DWORD chunk = static_cast<DWORD>(std::min<std::size_t>(data.size() - written, 0x10000000));
    DWORD count = 0;
    m_failed = !WriteFile(AsHandle(m_handle), data.data() + written, chunk, &count, nullptr) || count == 0;
    written += count;
  }
  return valid() && !m_failed;
}

bool ReplacementFile::Commit() noexcept {
  if (!valid() || m_failed) {
    Discard();
    return false;
  }
  try {
    const HANDLE file = AsHandle(std::exchange(m_handle, kNoHandle));
    const bool flushed = FlushFileBuffers(file) != 0;
    const bool closed = CloseHandle(file) != 0;
    const std::wstring temporary = WidePath(m_temporaryPath);
    // MOVEFILE_WRITE_THROUGH returns only once the rename is on disk: the directory flush of POSIX.
    if (flushed && closed &&
        MoveFileExW(temporary.c_str(), WidePath(m_path).c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
      return true;
    }
    (void)DeleteFileW(temporary.c_str());
  } catch (...) {
    (void)DeleteFileA(m_temporaryPath.c_str());
  }
  return false;
}

void ReplacementFile::Discard() noexcept {
  if (valid()) {
    (void)CloseHandle(AsHandle(std::exchange(m_handle, kNoHandle)));
    (void)DeleteFileA(m_temporaryPath.c_str());
  }
}

}  // namespace QVCryptoService::platform
