#pragma once

// The machine-wide store of small binary values: the local-machine registry on Windows, a
// directory tree below the machine root elsewhere. Keys are backslash-separated paths such as
// "SOFTWARE\Classes\SSV"; values are named binary blobs inside a key.

#include <qvcryptoservice/secure_block.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace QVCryptoService::platform {

enum class StoreStatus {
  kOk,
  kNotFound,
  kAccessDenied,
  // The value is longer than the caller's limit (the registry's ERROR_MORE_DATA).
  kValueTooLarge,
  // CreateMachineValue found the value there already.
  kAlreadyExists,
  kOtherError,
};

// Which registry view a 32-bit process reads; a 64-bit process and the POSIX store see one view.
enum class RegistryView {
  kDefault,
  kNative64,
};

// ReadMachineValue reads the value `valueName` of key `keyPath` into `value`, replacing its
// contents. Returns kOk; kNotFound when the key or value does not exist; kAccessDenied;
// kValueTooLarge when the value holds more than `maxSize` bytes; kOtherError otherwise. On
// failure `value` is left empty.
StoreStatus ReadMachineValue(const std::string& keyPath, const std::string& valueName, std::size_t maxSize,
                             RegistryView view, SecureBlock& value);

// WriteMachineValue stores `data` as the binary value `valueName` of key `keyPath`, creating the
// key when it does not exist. A reader sees either the old value or the new one, never a mix.
// Returns kOk, kAccessDenied, or kOtherError for any other failure.
StoreStatus WriteMachineValue(const std::string& keyPath, const std::string& valueName,
                              std::span<const std::uint8_t> data);

// CreateMachineValue stores `data` like WriteMachineValue, but only when the value does not
// exist yet; kAlreadyExists, with the value untouched, when it does. On POSIX the check and the
// store are one step (a hard link that fails on an existing name); on Windows they are two, and
// callers hold the MachineLock around them.
StoreStatus CreateMachineValue(const std::string& keyPath, const std::string& valueName,
                               std::span<const std::uint8_t> data);

}  // namespace QVCryptoService::platform
