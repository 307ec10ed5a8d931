#pragma once

// The key-set summary: a MAC under a key derived from the master key over the keystore's id, a
// generation number and every version of every key (name, version, state, algorithm, length,
// usage). Every change rewrites it with the next generation in the same transaction; every load
// checks it. A row that was reactivated, deleted, restored from an older copy or copied from
// another keystore no longer matches; a whole older key set with its own summary shows as a
// generation lower than one already seen. Timestamps and the wrapped material are not covered
// (the material carries its own tag).
//
// Stored form: 0x01 (format), generation (8 bytes, big-endian), HMAC-SHA-256 (32 bytes).

#include "keystore_db/stored_key.h"

#include <qvcryptoservice/secure_block.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace QVCryptoService::keystore_db {

class KeySetSeal {
 public:
  // Empty (every Seal fails, every Open refuses) when the key cannot be derived.
  KeySetSeal(const SecureBlock& masterKey, std::string keystoreId);

  // Seal returns the stored summary of `rows` at `generation`, or nothing when OpenSSL fails.
  std::optional<std::string> Seal(std::uint64_t generation, const std::vector<StoredKey>& rows) const;
  // Open returns the generation of a stored summary that matches `rows`; nothing for a
  // malformed summary or one that does not match.
  std::optional<std::uint64_t> Open(const std::string& stored, const std::vector<StoredKey>& rows) const;

  const std::string& keystoreId() const { return keystoreId_; }

 private:
  std::optional<std::string> Mac(std::uint64_t generation, const std::vector<StoredKey>& rows) const;

  SecureBlock key_;
  std::string keystoreId_;
};

}  // namespace QVCryptoService::keystore_db
