#pragma once

// A store file system that fails one step with one errno value and passes the rest through.

#include "platform/posix/store_file_system.h"

namespace testsupport {

enum class StoreStep { kMakeDirectory, kCreateTemporary, kWrite, kSyncFile, kClose, kRename, kSyncDirectory, kRead };

class FailingFileSystem : public QVCryptoService::platform::StoreFileSystem {
 public:
  FailingFileSystem(StoreStep step, int error) : m_step(step), m_error(error) {}

  int MakeDirectory(const std::string& path) override {
    return Fails(StoreStep::kMakeDirectory) ? m_error : StoreFileSystem::MakeDirectory(path);
  }
  int CreateTemporaryFile(const std::string& directory, std::string& path, int& descriptor) override {
    return Fails(StoreStep::kCreateTemporary) ? m_error
                                              : StoreFileSystem::CreateTemporaryFile(directory, path, descriptor);
  }
  int WriteAll(int descriptor, const std::uint8_t* data, std::size_t size) override {
    // A failing write may already have written part of the value.
    if (Fails(StoreStep::kWrite)) {
      (void)StoreFileSystem::WriteAll(descriptor, data, size / 2);
      return m_error;
    }
    return StoreFileSystem::WriteAll(descriptor, data, size);
  }
  int SyncFile(int descriptor) override {
    return Fails(StoreStep::kSyncFile) ? m_error : StoreFileSystem::SyncFile(descriptor);
  }
  int CloseFile(int descriptor) override {
    const int closed = StoreFileSystem::CloseFile(descriptor);
    return Fails(StoreStep::kClose) ? m_error : closed;
  }
  int RenameFile(const std::string& from, const std::string& to) override {
    return Fails(StoreStep::kRename) ? m_error : StoreFileSystem::RenameFile(from, to);
  }
  int SyncDirectory(const std::string& path) override {
    return Fails(StoreStep::kSyncDirectory) ? m_error : StoreFileSystem::SyncDirectory(path);
  }
  int ReadFile(const std::string& path, std::size_t limit, QVCryptoService::SecureBlock& content) override {
    return Fails(StoreStep::kRead) ? m_error : StoreFileSystem::ReadFile(path, limit, content);
  }

 private:
  bool Fails(StoreStep step) const { return step == m_step; }

  StoreStep m_step;
  int m_error;
};

// InstalledFileSystem makes the store use `fileSystem` for its lifetime.
class InstalledFileSystem {
 public:
  explicit InstalledFileSystem(QVCryptoService::platform::StoreFileSystem& fileSystem)
      : m_previous(QVCryptoService::platform::SetStoreFileSystemForTesting(&fileSystem)) {}
  ~InstalledFileSystem() { QVCryptoService::platform::SetStoreFileSystemForTesting(m_previous); }
  InstalledFileSystem(const InstalledFileSystem&) = delete;
  InstalledFileSystem& operator=(const InstalledFileSystem&) = delete;

 private:
  QVCryptoService::platform::StoreFileSystem* m_previous;
};

}  // namespace testsupport
