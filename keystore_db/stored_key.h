#pragma once

// One version of a key as the keystore stores it.

#include <cstdint>
#include <string>

namespace QVCryptoService::keystore_db {

// StoredKey is one row of qvks_keys; `state` is a QVKeyState, and `wrapped` is empty once the
// version is destroyed.
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
