#pragma once

// Wrapping of stored keys under the keystore's master key: AES-256-GCM with a fresh 96-bit
// nonce per wrap. The keystore's random id and what a row says about its key (name, version,
// algorithm, length) are the associated data, so a row that was altered, moved to another key
// or copied from another keystore under the same master key no longer opens.
//
// Stored form: 0x02 (format), nonce (12 bytes), cipher text (the key's length), tag (16 bytes).
// Rows of the earlier format 0x01 (no keystore id) do not open.

#include <qvcryptoservice/secure_block.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace QVCryptoService::keystore_db {

inline constexpr std::size_t kMasterKeyLength = 32;

struct KeyBinding {
  std::string_view keystoreId;
  std::string_view name;
  std::int32_t version = 0;
  std::string_view algorithm;
  std::int32_t keyLength = 0;
};

// WrapKey seals `key` for the row `binding` describes; false when OpenSSL fails.
bool WrapKey(const SecureBlock& masterKey, const KeyBinding& binding, const SecureBlock& key, std::string& wrapped);

// UnwrapKey opens a stored key into `key` (replaced only on success). False when the stored
// form is malformed or does not authenticate: wrong master key, or a changed or moved row.
bool UnwrapKey(const SecureBlock& masterKey, const KeyBinding& binding, const std::string& wrapped, SecureBlock& key);

// MakeMasterCheck returns a value that only this master key verifies (a tag over a fixed text).
bool MakeMasterCheck(const SecureBlock& masterKey, std::string& check);
bool VerifyMasterCheck(const SecureBlock& masterKey, const std::string& check);

}  // namespace QVCryptoService::keystore_db
