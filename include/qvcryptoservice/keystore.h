#pragma once

// The keystore plug-in interface: where the encryption and signing engines get their keys.

#include <qvcryptoservice/qvcs_export.h>
#include <qvcryptoservice/result.h>
#include <qvcryptoservice/secure_block.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace zkJson {
class Value;
}

namespace QVCryptoService {

// QVKeyState numbers the states of a key version as QVKeyControlData::state carries them (the
// KMIP State enumeration). Only an active version may encrypt or sign; a deactivated (retired)
// one still decrypts and validates.
enum QVKeyState : std::int32_t {
  QV_KEY_PRE_ACTIVE = 1,
  QV_KEY_ACTIVE = 2,
  QV_KEY_DEACTIVATED = 3,
  QV_KEY_COMPROMISED = 4,
  QV_KEY_DESTROYED = 5,
};

// QVKeyStateName names a state as the tools show it: "pre-active", "active", "deactivated",
// "compromised" or "destroyed"; null for a number that is none of them.
QVCS_EXPORT const char* QVKeyStateName(std::int32_t state) noexcept;

// QVKeyControlData is the metadata a keystore returns beside a key. The engines read `state`,
// `algorithm`, `keyLength` and `version`; the other fields are for keystores and their tools.
struct QVKeyControlData {
  // A QVKeyState.
  std::int32_t state = 0;
  // How the key is rotated: 0 by hand (reKey), other values are keystore-defined schedules.
  std::int32_t rotationPolicy = 0;
  // Version of the metadata layout, major number in the top byte (0x01000000 is 1.0).
  std::int32_t formatVersion = 0;
  // Length of the key in bytes; must match the cipher's key length to be used for it.
  std::int32_t keyLength = 0;
  // Version of the key under its name, 1, 2, ...; 0 when the keystore has no versions.
  std::int32_t version = 0;
  // KMIP Cryptographic Usage Mask bits (4 is Encrypt; 0 when the key signs only).
  std::int32_t usageMask = 0;
  // Seconds since 1970 (UTC) when this version was created and when it stopped being active;
  // 0 when unknown or still active.
  std::int64_t createdAt = 0;
  std::int64_t deactivatedAt = 0;
  // True for secret (symmetric) keys; false for the private half of a key pair.
  bool symmetric = false;
  // OpenSSL name of the cipher or digest the key is for, such as "aes-256-cbc" or "sha256".
  std::string algorithm;
};

// A key name and one of its versions, as listKeys reports them.
using QVKeyListEntry = std::pair<std::string, std::int32_t>;

// IQVKeyStore is the interface a keystore plug-in implements. Every operation returns an
// EQVKeystoreCode as a plain 32-bit int (KS_SUCCESS, or the reason it failed); the order of
// the operations is part of the binary interface and must not change.
class QVCS_EXPORT IQVKeyStore {
 public:
  virtual ~IQVKeyStore();

  // getPluginName returns the plug-in's name; getPluginDescription a one-line description.
  virtual std::string getPluginName() = 0;
  virtual std::string getPluginDescription() = 0;
  // initialize configures the keystore from a JSON value of its own design.
  virtual std::int32_t initialize(const zkJson::Value& config) = 0;
  // refreshKeys brings the key set up to date. The engines call it once after getKey answered
  // KS_ERR_KEY_NOT_FOUND (versionMissing false) or KS_ERR_KEY_VERSION_NOT_FOUND (true), and
  // ask again when it returns KS_SUCCESS.
  virtual std::int32_t refreshKeys(bool versionMissing) = 0;
  // createKey and createKeyPair make a new key under `name`, as `ctl` describes when given.
  virtual std::int32_t createKey(const std::string& name, const QVKeyControlData* ctl = nullptr) = 0;
  virtual std::int32_t createKeyPair(const std::string& name, const QVKeyControlData* ctl = nullptr) = 0;
  // destroyKey removes one version of a key (keystore-defined for version 0).
  virtual std::int32_t destroyKey(const std::string& name, std::int32_t version) = 0;
  // getKey writes the key bytes into `key` and its metadata into `ctl`; version 0 asks for the
  // current version. On failure both outputs are left as they were.
  virtual std::int32_t getKey(const std::string& name, SecureBlock& key, QVKeyControlData& ctl,
                              std::int32_t version) = 0;
  // listKeys appends the keystore's key names and versions to `keys`.
  virtual std::int32_t listKeys(bool flag, std::vector<QVKeyListEntry>& keys) = 0;
  // reKey makes a new current version of `name`.
  virtual std::int32_t reKey(const std::string& name) = 0;
  // re_sync reconciles the keystore with its backing store.
  virtual std::int32_t re_sync() = 0;
};

}  // namespace QVCryptoService
