#include "platform/posix/store_file_system.h"

#include "platform/posix/descriptor_io.h"
#include "platform/posix/path_trust.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

namespace QVCryptoService::platform {

namespace {

int ResultOf(int systemResult) { return systemResult == 0 ? 0 : errno; }

StoreFileSystem g_realFileSystem;
StoreFileSystem* g_fileSystem = &g_realFileSystem;

}  // namespace

StoreFileSystem::~StoreFileSystem() = default;

int StoreFileSystem::MakeDirectory(const std::string& path) { return ResultOf(::mkdir(path.c_str(), 0700)); }

int StoreFileSystem::CreateTemporaryFile(const std::string& directory, std::string& path, int& descriptor) {
  const std::string pattern = directory + "/.pending-XXXXXX";
  std::vector<char> name(pattern.begin(), pattern.end());
  name.push_back('\0');
  // mkostemp creates the file with mode 0600 and fails rather than reuse an existing name.
  const int created = ::mkostemp(name.data(), O_CLOEXEC);
  if (created < 0) {
    return errno;
  }
  path.assign(name.data());
  descriptor = created;
  return 0;
}

int StoreFileSystem::WriteAll(int descriptor, const std::uint8_t* data, std::size_t size) {
  return WriteAllToDescriptor(descriptor, data, size);
}

int StoreFileSystem::SyncFile(int descriptor) { return ResultOf(::fsync(descriptor)); }

int StoreFileSystem::CloseFile(int descriptor) { return ResultOf(::close(descriptor)); }

int StoreFileSystem::RenameFile(const std::string& from, const std::string& to) {
  return ResultOf(::rename(from.c_str(), to.c_str()));
}

int StoreFileSystem::LinkFile(const std::string& from, const std::string& to) {
  return ResultOf(::link(from.c_str(), to.c_str()));
}

int StoreFileSystem::SyncDirectory(const std::string& path) {
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) {
    return errno;
  }
  const int synced = ResultOf(::fsync(descriptor));
  (void)::close(descriptor);
  return synced;
}

int StoreFileSystem::RemoveFile(const std::string& path) { return ResultOf(::unlink(path.c_str())); }

int StoreFileSystem::ReadFile(const std::string& path, std::size_t limit, SecureBlock& content) {
  return ReadTrustedFileAt(path, limit, content);
}

StoreFileSystem* SetStoreFileSystemForTesting(StoreFileSystem* fileSystem) noexcept {
  StoreFileSystem* previous = g_fileSystem;
  g_fileSystem = fileSystem != nullptr ? fileSystem : &g_realFileSystem;
  return previous;
}

StoreFileSystem& CurrentStoreFileSystem() noexcept { return *g_fileSystem; }

}  // namespace QVCryptoService::platform
