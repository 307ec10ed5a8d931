#include "platform/machine_store.h"

#include "platform/windows/security_descriptor.h"

#include <windows.h>

#include <algorithm>

namespace QVCryptoService::platform {

namespace {

class RegistryKey {
 public:
  RegistryKey() noexcept = default;
  ~RegistryKey() {
    if (key_ != nullptr) {
      (void)RegCloseKey(key_);
    }
  }
  RegistryKey(const RegistryKey&) = delete;
  RegistryKey& operator=(const RegistryKey&) = delete;

  HKEY get() const noexcept { return key_; }
  PHKEY receive() noexcept { return &key_; }

 private:
  HKEY key_ = nullptr;
};

// Key and value names of the store are ASCII, so widening each character is the conversion.
std::wstring Widen(const std::string& text) { return std::wstring(text.begin(), text.end()); }

StoreStatus ReadStatusOf(LONG error) {
  switch (error) {
    case ERROR_SUCCESS:
      return StoreStatus::kOk;
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
      return StoreStatus::kNotFound;
    case ERROR_ACCESS_DENIED:
      return StoreStatus::kAccessDenied;
    case ERROR_MORE_DATA:
      return StoreStatus::kValueTooLarge;
    default:
      return StoreStatus::kOtherError;
  }
}

StoreStatus WriteStatusOf(LONG error) {
  if (error == ERROR_SUCCESS) {
    return StoreStatus::kOk;
  }
  return error == ERROR_ACCESS_DENIED ? StoreStatus::kAccessDenied : StoreStatus::kOtherError;
}

}  // namespace

StoreStatus ReadMachineValue(const std::string& keyPath, const std::string& valueName, std::size_t maxSize,
                             RegistryView view, SecureBlock& value) {
  value.clear();
  const REGSAM access = KEY_QUERY_VALUE | (view == RegistryView::kNative64 ? KEY_WOW64_64KEY : 0);
  RegistryKey key;
  LONG error = RegOpenKeyExW(HKEY_LOCAL_MACHINE, Widen(keyPath).c_str(), 0, access, key.receive());
  if (error != ERROR_SUCCESS) {
    return ReadStatusOf(error);
  }
  const DWORD capacity = static_cast<DWORD>(std::min<std::size_t>(maxSize, MAXDWORD));
  // Never hand the query a null buffer: it would report the size and succeed without reading.
  SecureBlock buffer(std::max<DWORD>(capacity, 1));
  DWORD size = capacity;
  error = RegQueryValueExW(key.get(), Widen(valueName).c_str(), nullptr, nullptr, buffer.data(), &size);
  if (error != ERROR_SUCCESS) {
    return ReadStatusOf(error);
  }
  buffer.resize(size);
  value = std::move(buffer);
  return StoreStatus::kOk;
}

StoreStatus WriteMachineValue(const std::string& keyPath, const std::string& valueName,
                              std::span<const std::uint8_t> data) {
  if (data.size() > MAXDWORD) {
    return StoreStatus::kOtherError;
  }
  // The key admits SYSTEM and Administrators only, whether it is made here or found: one left by
  // an earlier version, or made by Wine's RegCreateKeyExW, which ignores the attributes it is
  // given, may inherit an ACL that lets every user read the value.
  AdministratorsOnlyDescriptor descriptor(SecuredObject::kRegistryKey);
  if (!descriptor.valid()) {
    return StoreStatus::kOtherError;
  }
  const std::wstring key = Widen(keyPath);
  RegistryKey handle;
  DWORD disposition = REG_OPENED_EXISTING_KEY;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_ALL_ACCESS, handle.receive()) != ERROR_SUCCESS) {
    const LONG error = RegCreateKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                                       descriptor.attributes(), handle.receive(), &disposition);
    if (error != ERROR_SUCCESS) {
      return WriteStatusOf(error);
    }
  }
  if (const LONG error = RegSetKeySecurity(handle.get(), DACL_SECURITY_INFORMATION, descriptor.get());
      error != ERROR_SUCCESS) {
    if (disposition == REG_CREATED_NEW_KEY) {
      (void)RegDeleteKeyW(HKEY_LOCAL_MACHINE, key.c_str());
    }
    return WriteStatusOf(error);
  }
  return WriteStatusOf(RegSetValueExW(handle.get(), Widen(valueName).c_str(), 0, REG_BINARY, data.data(),
                                      static_cast<DWORD>(data.size())));
}

}  // namespace QVCryptoService::platform
