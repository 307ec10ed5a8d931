#include "platform/private_file.h"

#include <windows.h>

#include <algorithm>

namespace QVCryptoService::platform {

namespace {

class FileHandle {
 public:
  explicit FileHandle(HANDLE handle) noexcept : m_handle(handle) {}
  ~FileHandle() {
    if (m_handle != INVALID_HANDLE_VALUE) {
      (void)CloseHandle(m_handle);
    }
  }
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;

  HANDLE get() const noexcept { return m_handle; }
  bool close() noexcept {
    const bool closed = CloseHandle(m_handle) != 0;
    m_handle = INVALID_HANDLE_VALUE;
    return closed;
  }

 private:
  HANDLE m_handle;
};

}  // namespace

bool WritePrivateFile(const std::string& path, std::span<const std::uint8_t> data) {
  // The file inherits the directory's ACL: the system directory admits administrators only.
  FileHandle file(CreateFileA(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (file.get() == INVALID_HANDLE_VALUE) {
    return false;
  }
  std::size_t written = 0;
  while (written < data.size()) {
    const DWORD chunk = static_cast<DWORD>(std::min<std::size_t>(data.size() - written, 0x10000000));
    DWORD count = 0;
    if (!WriteFile(file.get(), data.data() + written, chunk, &count, nullptr) || count == 0) {
      return false;
    }
    written += count;
  }
  return file.close();
}

}  // namespace QVCryptoService::platform
