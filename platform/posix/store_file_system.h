#pragma once

// The file operations behind the POSIX machine store, one system call each, so that tests can
// make any single step fail: the suite runs as root, which file modes do not stop. Deliberately
// free of POSIX headers: descriptors are plain ints and failures are errno values.

#include <qvcryptoservice/secure_block.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace QVCryptoService::platform {

// StoreFileSystem performs the real operations. Every operation returns 0 or an errno value.
class StoreFileSystem {
 public:
  virtual ~StoreFileSystem();

  // MakeDirectory creates one directory with mode 0700; EEXIST when something is already there.
  virtual int MakeDirectory(const std::string& path);
  // CreateTemporaryFile creates a new file of mode 0600 in `directory`, with a unique name that
  // starts with a dot, and opens it for writing.
  virtual int CreateTemporaryFile(const std::string& directory, std::string& path, int& descriptor);
  // WriteAll writes every byte, resuming after short writes and interrupted calls.
  virtual int WriteAll(int descriptor, const std::uint8_t* data, std::size_t size);
  virtual int SyncFile(int descriptor);
  virtual int CloseFile(int descriptor);
  virtual int RenameFile(const std::string& from, const std::string& to);
  // LinkFile gives `from` the second name `to`; EEXIST when `to` exists.
  virtual int LinkFile(const std::string& from, const std::string& to);
  // SyncDirectory makes a rename inside `path` durable.
  virtual int SyncDirectory(const std::string& path);
  virtual int RemoveFile(const std::string& path);
  // ReadFile reads at most `limit` bytes of the file into `content`, replacing it. A link, or a
  // file that is not a regular one of this account or root closed to group and others, is
  // refused (ELOOP, EPERM).
  virtual int ReadFile(const std::string& path, std::size_t limit, SecureBlock& content);
};

// SetStoreFileSystemForTesting makes the store use `fileSystem` (null restores the real one) and
// returns the one it replaces. Not thread-safe; tests only. Not exported.
StoreFileSystem* SetStoreFileSystemForTesting(StoreFileSystem* fileSystem) noexcept;

// CurrentStoreFileSystem is the one the store uses now.
StoreFileSystem& CurrentStoreFileSystem() noexcept;

}  // namespace QVCryptoService::platform
