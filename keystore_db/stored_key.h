#pragma once

// One version of a key as the keystore stores it, and the KMIP states it can be in.

#include <cstdint>
#include <string>

namespace QVCryptoService::keystore_db {

inline constexpr std::int32_t kStatePreActive = 1;
inline constexpr std::int32_t kStateActive = 2;
inline constexpr std::int32_t kStateDeactivated = 3;
inline constexpr std::int32_t kStateCompromised = 4;
inline constexpr std::int32_t kStateDestroyed = 5;

// StoredKey is one row of qvks_keys; `wrapped` is empty once the version is destroyed.
struct StoredKey {
  std::string name;
  std::int32_t version = 0;
  std::int32_t state = 0;
  std::string algorithm;
  std::int32_t keyLength = 0;
  std::int32_t usageMask = 0;
  std::int64_t createdAt = 0;
  std::int64_t deactivatedAt = 0;
  std::string wrapped;
};

}  // namespace QVCryptoService::keystore_db
