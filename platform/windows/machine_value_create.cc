// Create-if-absent for the registry store, apart from machine_store.cc: the registry has no
// "set only when missing", so callers hold the MachineLock around the check and the write.

#include "platform/machine_store.h"

namespace QVCryptoService::platform {

StoreStatus CreateMachineValue(const std::string& keyPath, const std::string& valueName,
                               std::span<const std::uint8_t> data) {
  SecureBlock existing;
  // A limit of 0 bytes: any value there answers kOk (empty) or kValueTooLarge.
  const StoreStatus found = ReadMachineValue(keyPath, valueName, 0, RegistryView::kNative64, existing);
  if (found == StoreStatus::kOk || found == StoreStatus::kValueTooLarge) {
    return StoreStatus::kAlreadyExists;
  }
  return WriteMachineValue(keyPath, valueName, data);
}

}  // namespace QVCryptoService::platform
