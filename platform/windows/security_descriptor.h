#pragma once

// The security descriptor of everything the library creates to hold a secret on Windows: the
// registry key of the machine store and the staging file. Its DACL admits SYSTEM and the
// Administrators group with full control and nobody else, and it is protected, so nothing is
// inherited from the parent key or directory.

#include <windows.h>

namespace QVCryptoService::platform {

enum class SecuredObject {
  kFile,
  kRegistryKey,
};

class AdministratorsOnlyDescriptor {
 public:
  explicit AdministratorsOnlyDescriptor(SecuredObject object) noexcept;
  ~AdministratorsOnlyDescriptor();
  AdministratorsOnlyDescriptor(const AdministratorsOnlyDescriptor&) = delete;
  AdministratorsOnlyDescriptor& operator=(const AdministratorsOnlyDescriptor&) = delete;

  // False when the descriptor could not be built; the object must then not be created.
  bool valid() const noexcept { return descriptor_ != nullptr; }
  PSECURITY_DESCRIPTOR get() const noexcept { return descriptor_; }
  // The attributes to create the object with: the descriptor, no handle inheritance.
  SECURITY_ATTRIBUTES* attributes() noexcept { return &attributes_; }

 private:
  PSECURITY_DESCRIPTOR descriptor_ = nullptr;
  SECURITY_ATTRIBUTES attributes_{};
};

// OwnerOnlyFileDescriptor is the descriptor of a file that only the calling account may open, as
// mode 0600 is elsewhere: a protected DACL with one entry, full control for the account the
// process runs as. With `like` set to an existing file, that file's DACL is taken instead, so a
// file that replaces it is admitted to the same accounts.
class OwnerOnlyFileDescriptor {
 public:
  explicit OwnerOnlyFileDescriptor(const wchar_t* like = nullptr) noexcept;
  ~OwnerOnlyFileDescriptor();
  OwnerOnlyFileDescriptor(const OwnerOnlyFileDescriptor&) = delete;
  OwnerOnlyFileDescriptor& operator=(const OwnerOnlyFileDescriptor&) = delete;

  bool valid() const noexcept { return descriptor_ != nullptr; }
  SECURITY_ATTRIBUTES* attributes() noexcept { return &attributes_; }

 private:
  PSECURITY_DESCRIPTOR descriptor_ = nullptr;
  SECURITY_ATTRIBUTES attributes_{};
};

}  // namespace QVCryptoService::platform
