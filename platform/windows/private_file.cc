#include "platform/private_file.h"

#include "platform/windows/security_descriptor.h"

#include <windows.h>

#include <algorithm>

namespace QVCryptoService::platform {

namespace {

class FileHandle {
 public:
  explicit FileHandle(HANDLE handle) noexcept : handle_(handle) {}
  ~FileHandle() {
    if (handle_ != INVALID_HANDLE_VALUE) {
      (void)CloseHandle(handle_);
    }
  }
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;

  HANDLE get() const noexcept { return handle_; }
  bool close() noexcept {
    const bool closed = CloseHandle(handle_) != 0;
    handle_ = INVALID_HANDLE_VALUE;
    return closed;
  }

 private:
  HANDLE handle_;
};

// MarkForDeletion has the file removed when its last handle closes; the handle needs DELETE.
bool MarkForDeletion(HANDLE file) noexcept {
  FILE_DISPOSITION_INFO disposition{};
  disposition.DeleteFile = TRUE;
  return SetFileInformationByHandle(file, FileDispositionInfo, &disposition, sizeof(disposition)) != 0;
}

bool WriteAll(HANDLE file, std::span<const std::uint8_t> data) noexcept {
  std::size_t written = 0;
  while (written < data.size()) {
    const DWORD chunk = static_cast<DWORD>(std::min<std::size_t>(data.size() - written, 0x10000000));
    DWORD count = 0;
    if (!WriteFile(file, data.data() + written, chunk, &count, nullptr) || count == 0) {
      return false;
    }
    written += count;
  }
  return true;
}

}  // namespace

bool WritePrivateFile(const std::string& path, std::span<const std::uint8_t> data) {
  AdministratorsOnlyDescriptor descriptor(SecuredObject::kFile);
  if (!descriptor.valid()) {
    return false;
  }
  // CREATE_NEW fails on anything already at the path, so the file, and with it its descriptor,
  // is always the one made here.
  FileHandle file(CreateFileA(path.c_str(), GENERIC_WRITE | DELETE, 0, descriptor.attributes(), CREATE_NEW,
                              FILE_ATTRIBUTE_NORMAL, nullptr));
  if (file.get() == INVALID_HANDLE_VALUE) {
    return false;
  }
  if (!WriteAll(file.get(), data)) {
    if (!MarkForDeletion(file.get())) {
      (void)file.close();
      (void)DeleteFileA(path.c_str());
    }
    return false;
  }
  if (!file.close()) {
    (void)DeleteFileA(path.c_str());
    return false;
  }
  return true;
}

bool RemoveOwnStaleFile(const std::string& path) {
  // Opened without following a link, so what is examined is what gets removed; a directory does
  // not open at all without FILE_FLAG_BACKUP_SEMANTICS.
  FileHandle file(CreateFileA(path.c_str(), DELETE | FILE_READ_ATTRIBUTES,
                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                              FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  if (file.get() == INVALID_HANDLE_VALUE) {
    const DWORD error = GetLastError();
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
  }
  BY_HANDLE_FILE_INFORMATION information{};
  if (!GetFileInformationByHandle(file.get(), &information) ||
      (information.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) != 0) {
    return false;
  }
  return MarkForDeletion(file.get()) && file.close();
}

bool MakePrivateDirectory(const std::string& path) {
  OwnerOnlyFileDescriptor descriptor;
  // CreateDirectory fails on anything already at the path, a link or junction included, so the
  // directory, and with it its descriptor, is the one made here.
  if (!descriptor.valid() || CreateDirectoryA(path.c_str(), descriptor.attributes()) == 0) {
    return false;
  }
  const DWORD attributes = GetFileAttributesA(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 &&
         (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0;
}

}  // namespace QVCryptoService::platform
