#include "platform/machine_store.h"

#include "platform/machine_trust.h"
#include "platform/posix/machine_root.h"
#include "platform/posix/store_file_system.h"

#include <cerrno>
#include <limits>
#include <string_view>
#include <vector>

namespace QVCryptoService::platform {

namespace {

// The errors that stand for the registry's ERROR_ACCESS_DENIED; everything else is "other".
StoreStatus StatusOf(int error) {
  if (error == 0) {
    return StoreStatus::kOk;
  }
  if (error == EACCES || error == EPERM) {
    return StoreStatus::kAccessDenied;
  }
  return StoreStatus::kOtherError;
}

bool IsPlainName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string_view::npos;
}

// KeyComponents splits "SOFTWARE\Classes\SSV" into its names; false for a path that would lead
// out of the store (empty, "." or ".." components, or a slash).
bool KeyComponents(const std::string& keyPath, std::vector<std::string>& components) {
  components.clear();
  std::size_t start = 0;
  while (true) {
    const std::size_t end = keyPath.find('\\', start);
    const std::string_view component(keyPath.data() + start, (end == std::string::npos ? keyPath.size() : end) - start);
    if (!IsPlainName(component)) {
      return false;
    }
    components.emplace_back(component);
    if (end == std::string::npos) {
      return true;
    }
    start = end + 1;
  }
}

// The key's directory relative to the machine root: "registry/SOFTWARE/Classes/SSV".
std::string RelativeKeyDirectory(const std::vector<std::string>& components) {
  std::string directory = kRegistryDirectory;
  for (const std::string& component : components) {
    directory += '/';
    directory += component;
  }
  return directory;
}

std::string KeyDirectory(const std::vector<std::string>& components) {
  return MachineRoot() + "/" + RelativeKeyDirectory(components);
}

// Refuses a value whose root, directories or file others could have written or replaced.
bool ValuePathTrusted(const std::string& keyPath, const std::string& valueName) {
  return MachineValueProblem(keyPath, valueName).empty();
}

// CreateDirectories makes `directory` and every missing directory above it, each with mode 0700.
int CreateDirectories(StoreFileSystem& fileSystem, const std::string& directory) {
  for (std::size_t end = directory.find('/', 1);; end = directory.find('/', end + 1)) {
    const std::string prefix = directory.substr(0, end);
    const int error = fileSystem.MakeDirectory(prefix);
    if (error != 0 && error != EEXIST) {
      return error;
    }
    if (end == std::string::npos) {
      return 0;
    }
  }
}

}  // namespace

StoreStatus ReadMachineValue(const std::string& keyPath, const std::string& valueName, std::size_t maxSize,
                             RegistryView /*view*/, SecureBlock& value) {
  value.clear();
  std::vector<std::string> components;
  if (!KeyComponents(keyPath, components) || !IsPlainName(valueName)) {
    return StoreStatus::kOtherError;
  }
  if (!ValuePathTrusted(keyPath, valueName)) {
    return StoreStatus::kAccessDenied;
  }
  // One byte more than allowed tells a value that is too long from one that fits exactly.
  const std::size_t limit = maxSize < std::numeric_limits<std::size_t>::max() ? maxSize + 1 : maxSize;
  SecureBlock content;
  const int error = CurrentStoreFileSystem().ReadFile(KeyDirectory(components) + "/" + valueName, limit, content);
  if (error == ENOENT || error == ENOTDIR) {
    return StoreStatus::kNotFound;
  }
  if (error != 0) {
    return StatusOf(error);
  }
  if (content.size() > maxSize) {
    return StoreStatus::kValueTooLarge;
  }
  value = std::move(content);
  return StoreStatus::kOk;
}

namespace {

// StoreValue writes the value through a temporary file that takes the value's name in one step:
// a rename, which replaces an old value, or a hard link, which leaves one in place (EEXIST).
StoreStatus StoreValue(const std::string& keyPath, const std::string& valueName, std::span<const std::uint8_t> data,
                       bool replace) {
  std::vector<std::string> components;
  if (!KeyComponents(keyPath, components) || !IsPlainName(valueName)) {
    return StoreStatus::kOtherError;
  }
  if (!ValuePathTrusted(keyPath, valueName)) {
    return StoreStatus::kAccessDenied;
  }
  StoreFileSystem& fileSystem = CurrentStoreFileSystem();
  const std::string directory = KeyDirectory(components);
  int error = CreateDirectories(fileSystem, directory);
  if (error != 0) {
    return StatusOf(error);
  }
  std::string pending;
  int descriptor = -1;
  error = fileSystem.CreateTemporaryFile(directory, pending, descriptor);
  if (error != 0) {
    return StatusOf(error);
  }
  error = fileSystem.WriteAll(descriptor, data.data(), data.size());
  if (error == 0) {
    error = fileSystem.SyncFile(descriptor);
  }
  const int closeError = fileSystem.CloseFile(descriptor);
  if (error == 0) {
    error = closeError;
  }
  const std::string target = directory + "/" + valueName;
  if (error == 0) {
    error = replace ? fileSystem.RenameFile(pending, target) : fileSystem.LinkFile(pending, target);
  }
  if (error != 0 || !replace) {
    (void)fileSystem.RemoveFile(pending);
  }
  if (error == EEXIST && !replace) {
    return StoreStatus::kAlreadyExists;
  }
  if (error != 0) {
    return StatusOf(error);
  }
  // Without this the new name may not survive a crash, and the old value could come back.
  return StatusOf(fileSystem.SyncDirectory(directory));
}

}  // namespace

StoreStatus WriteMachineValue(const std::string& keyPath, const std::string& valueName,
                              std::span<const std::uint8_t> data) {
  return StoreValue(keyPath, valueName, data, true);
}

StoreStatus CreateMachineValue(const std::string& keyPath, const std::string& valueName,
                               std::span<const std::uint8_t> data) {
  return StoreValue(keyPath, valueName, data, false);
}

}  // namespace QVCryptoService::platform
