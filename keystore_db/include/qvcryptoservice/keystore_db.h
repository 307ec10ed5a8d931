#pragma once

// QVKeystoreDb: a keystore whose keys live in a database (SQLite or PostgreSQL), each version
// wrapped under a master key, so that a product can rotate, retire and destroy keys.

#include <qvcryptoservice/keystore.h>
#include <qvcryptoservice/qvksdb_export.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace QVCryptoService {

// QVKeyDescription is one version of a key as the keystore's tools show it: no key material.
struct QVKeyDescription {
  std::string name;
  std::int32_t version = 0;
  // KMIP State: 1 pre-active, 2 active, 3 deactivated, 4 compromised, 5 destroyed.
  std::int32_t state = 0;
  std::string algorithm;
  std::int32_t keyLength = 0;
  std::int64_t createdAt = 0;
  std::int64_t deactivatedAt = 0;
};

// QVKeystoreDb keeps random keys (OpenSSL's generator) by name and version 1, 2, ... in a
// database. Every version is stored wrapped with AES-256-GCM under the keystore's master key,
// with the keystore's random id and the version's name, version, algorithm and length as
// associated data: a wrong master key, or a row altered, moved to another name or version or
// copied from another keystore (even one under the same master key), gives KS_ERR_CORRUPTED,
// never a wrong key.
//
// The key set as a whole is authenticated too. The database holds a summary of it: a MAC under a
// key derived from the master key over the keystore id, a generation counter that every change
// raises, and every version's name, version, state, algorithm, length and usage. Each change
// rewrites it in its own transaction; initialize, refreshKeys, re_sync, listKeys and
// describeKeys check it, and answer KS_ERR_CORRUPTED (keeping the key set loaded before) when
// someone who can write the database but lacks the master key has changed a state (made a
// deactivated version active again, say), deleted or added a version, put a destroyed version
// back from an older copy, changed an algorithm, length or usage, replaced the keystore id, or
// edited or removed the summary. An older key set put back whole, summary and all, is refused
// too, as long as this keystore object has already seen a later generation.
//
// What is not protected: the generation counter is remembered only in memory, so a keystore
// opened afresh (a new process, a restart) cannot tell a restored backup of the whole database,
// or an older key set put back whole, from the current one; that needs the counter kept
// somewhere the database's writers cannot reach, which this keystore does not do. Creation and
// deactivation times are not covered. Whoever holds the master key can make any key set. A
// deleted or damaged database denies service (KS_ERR_DATABASE or KS_ERR_CORRUPTED) but never
// yields a wrong key.
//
// initialize takes a JSON object:
//   {"backend": "sqlite", "path": FILE,                       (optional; default
//                                                              <machine root>/keystore/keystore.db;
//                                                              created mode 0600, or else a
//                                                              regular file of this account
//                                                              that group and others cannot
//                                                              write, not a symbolic link)
//    "busyTimeoutMs": N,                                      (optional, either backend; how long a
//                                                              change waits for another writer's
//                                                              lock; 5000)
//    "masterKey": {"source": "ssv"}}                          (a random master key kept in the
//                                                              database under this machine's SSV)
//   {"backend": "postgresql", "connection": "host=... dbname=...",
//    "masterKey": {"source": "host", "file": PATH}}            (or "env": VARIABLE; the master key
//                                                              as 64 hexadecimal digits)
// Unknown members, wrong types or a missing master key give KS_ERR_INVALID_PARAMETERS with
// nothing created.
//
// Keys are read into memory at initialize and by refreshKeys (still wrapped; each getKey
// unwraps one version into the caller's SecureBlock). A rotation, retirement or destruction made
// by another process is seen after refreshKeys (until then this process serves what it loaded);
// the encryption engine calls it by itself when a text names a version it has not seen. Every
// change is one database transaction, and changes are serialised across processes on the
// summary. Any database failure gives KS_ERR_DATABASE and changes nothing. Safe for concurrent
// use by many threads.
class QVKSDB_EXPORT QVKeystoreDb : public IQVKeyStore {
 public:
  QVKeystoreDb();
  QVKeystoreDb(const QVKeystoreDb&) = delete;
  QVKeystoreDb& operator=(const QVKeystoreDb&) = delete;
  ~QVKeystoreDb() override;

  // getPluginName returns "QVKeystoreDb".
  std::string getPluginName() override;
  std::string getPluginDescription() override;
  // initialize opens (and on first use creates) the keystore the configuration names. Returns
  // KS_SUCCESS; KS_ERR_INVALID_PARAMETERS for a bad configuration (nothing is created);
  // KS_ERR_DATABASE when the database cannot be reached or read (or the SQLite file is not a
  // private file of this account); KS_ERR_SSV_NOT_INITIALIZED when
  // the master key is to come from an SSV this machine does not have; KS_ERR_CORRUPTED when the
  // master key is not the one the keystore was made with or the key set does not match its
  // summary; KS_ERR_NOT_SUPPORTED for a database of an earlier format of this keystore (no
  // keystore id and summary), which is not read. Until it succeeds every other operation
  // returns KS_ERR_DATABASE.
  std::int32_t initialize(const zkJson::Value& config) override;
  // refreshKeys reloads the key set from the database: KS_SUCCESS; KS_ERR_CORRUPTED when it does
  // not match its summary or is older than one already seen, KS_ERR_DATABASE when it cannot be
  // read, both with the previous key set kept.
  std::int32_t refreshKeys(bool versionMissing) override;
  // createKey makes version 1 of a new key, active. `ctl` may name the algorithm (default
  // "aes-256-cbc"; any OpenSSL cipher, or a digest for HMAC keys) and the length (a cipher's own
  // key length; 32 bytes by default for a digest). KS_ERR_KEY_EXISTS when the name has a version
  // that is not destroyed; KS_ERR_INVALID_PARAMETERS for an empty name, an unknown algorithm or
  // a length that does not fit it.
  std::int32_t createKey(const std::string& name, const QVKeyControlData* ctl = nullptr) override;
  // createKeyPair returns KS_ERR_NOT_SUPPORTED: this keystore holds secret keys only.
  std::int32_t createKeyPair(const std::string& name, const QVKeyControlData* ctl = nullptr) override;
  // destroyKey erases the material of one version (state 5; the version number is never used
  // again), or of every version when `version` is 0. KS_ERR_KEY_NOT_FOUND for an unknown name,
  // KS_ERR_KEY_VERSION_NOT_FOUND for a version that does not exist or is already destroyed.
  std::int32_t destroyKey(const std::string& name, std::int32_t version) override;
  // getKey unwraps a version into `key`; version 0 is the current one, which is the active
  // version and nothing else: a key whose versions are all retired (deactivated) no longer
  // encrypts or signs. KS_ERR_KEY_NOT_FOUND for an unknown name or one whose every version is
  // destroyed, KS_ERR_KEY_VERSION_NOT_FOUND for a version not known (or destroyed) and for
  // version 0 when no version is active (a deactivated version still opens by its number, for
  // decryption and validation), KS_ERR_CORRUPTED when the stored row does not authenticate,
  // KS_ERR_INVALID_PARAMETERS for a negative version. Outputs untouched on failure.
  std::int32_t getKey(const std::string& name, SecureBlock& key, QVKeyControlData& ctl, std::int32_t version) override;
  // listKeys appends every version that is not destroyed (with `flag`, destroyed ones too),
  // ordered by name and version.
  std::int32_t listKeys(bool flag, std::vector<QVKeyListEntry>& keys) override;
  // reKey makes a new active version of `name`; the previous active version is deactivated
  // (state 3) and still served for decryption and validation. It is reKey(name, v) with v the
  // newest version this keystore has loaded.
  std::int32_t reKey(const std::string& name) override;
  // re_sync checks the master key against the database again and reloads the key set (with the
  // answers of refreshKeys).
  std::int32_t re_sync() override;

  // initialize with `reason` is initialize that also says why a configuration or database was
  // refused: on failure `reason` is one line (the configuration's mistake, the master key file or
  // variable that cannot be used, the database's own words), or empty when the result says it
  // all; on success it is empty.
  std::int32_t initialize(const zkJson::Value& config, std::string& reason);
  // reKey with `expectedVersion` rotates only when the newest version of `name` in the database
  // is still `expectedVersion`: of several processes rotating the same key at once exactly one
  // makes a new version; the others get KS_ERR_KEY_VERSION_EXISTS and see the winner's version
  // (the key set is reloaded). KS_ERR_KEY_NOT_FOUND for an unknown name.
  std::int32_t reKey(const std::string& name, std::int32_t expectedVersion);
  // retireKey deactivates one version (state 3): it still decrypts and validates but no longer
  // encrypts or signs. KS_ERR_KEY_VERSION_NOT_FOUND when it does not exist or is destroyed;
  // KS_ERR_INVALID_PARAMETERS when it is not pre-active or active.
  std::int32_t retireKey(const std::string& name, std::int32_t version);
  // describeKeys replaces `keys` with every version (destroyed ones too), without material.
  std::int32_t describeKeys(std::vector<QVKeyDescription>& keys);
  // stateName names a version's state as the keystore's tools show it: "pre-active", "active",
  // "deactivated", "compromised", "destroyed", or "state N" for a number that is none of them.
  static std::string stateName(std::int32_t state);

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace QVCryptoService
