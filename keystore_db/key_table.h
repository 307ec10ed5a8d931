#pragma once

// The keystore's rows and the transactions that change them. Each public operation is one
// database transaction (retried when the database asks for it) and reports an EQVKeystoreCode:
// KS_ERR_DATABASE for any failure of the database, in which case nothing was changed.
//
// Once UseSeal has been called, the rows are checked against the key-set summary whenever they
// are read, and every change rewrites the summary in its own transaction with the next
// generation: KS_ERR_CORRUPTED when they do not agree, or when the summary's generation is lower
// than one this table has already seen. Changes lock the summary first, so that they are
// serialised across processes. A change that succeeds hands back the whole key set as it
// committed it (`keySet`), so that the caller's copy is never patched by a rule of its own.

#include "keystore_db/db_backend.h"
#include "keystore_db/key_set_seal.h"
#include "keystore_db/stored_key.h"

#include <qvcryptoservice/result.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace QVCryptoService::keystore_db {

// MakeWrapped returns the wrapped material for a new row (its version is only known inside the
// transaction), or nothing when wrapping failed.
using MakeWrapped = std::function<std::optional<std::string>(const StoredKey& row)>;

class KeyTable {
 public:
  explicit KeyTable(DbBackend& db) : db_(db) {}

  EQVKeystoreCode CreateSchema();
  void UseSeal(KeySetSeal seal) { seal_.emplace(std::move(seal)); }
  // LoadAll reads every row, checked against the summary; `keys` is replaced only on success.
  EQVKeystoreCode LoadAll(std::vector<StoredKey>& keys);
  // ReadMeta reads the listed items; a missing item is left empty.
  EQVKeystoreCode ReadMeta(const std::vector<std::string>& items, std::vector<std::optional<std::string>>& values);
  // InsertMetaIfAbsent stores items that are not there yet, all in one transaction; items that
  // exist keep their value.
  EQVKeystoreCode InsertMetaIfAbsent(const std::vector<std::pair<std::string, std::string>>& items);

  // CreateFirst adds the first live version of `row.name` (number: one past any destroyed
  // ones), active. KS_ERR_KEY_EXISTS when a version that is not destroyed exists.
  EQVKeystoreCode CreateFirst(StoredKey& row, const MakeWrapped& wrap, std::vector<StoredKey>& keySet);
  // The changes below answer KS_ERR_KEY_NOT_FOUND when `name` has no version at all.
  // Rotate adds version expected + 1 as the active one and deactivates the active version, if
  // the newest version is still `expectedVersion`; else KS_ERR_KEY_VERSION_EXISTS.
  EQVKeystoreCode Rotate(const std::string& name, std::int32_t expectedVersion, std::int64_t now,
                         const MakeWrapped& wrap, std::vector<StoredKey>& keySet);
  // Destroy erases one version's material, or every live version's for version 0.
  EQVKeystoreCode Destroy(const std::string& name, std::int32_t version, std::int64_t now,
                          std::vector<StoredKey>& keySet);
  // Retire deactivates one version that is pre-active or active (version 0: the active one).
  EQVKeystoreCode Retire(const std::string& name, std::int32_t version, std::int64_t now,
                         std::vector<StoredKey>& keySet);

  std::string LastError() const { return db_.LastError(); }

 private:
  struct VersionInfo {
    std::int32_t version;
    std::int32_t state;
    std::string algorithm;
    std::int32_t keyLength;
    std::int32_t usageMask;
  };
  // Transaction runs `body` between Begin and Commit. The body answers with a database status
  // and, when that is kOk, a keystore code: anything but KS_SUCCESS rolls back. `onConflict` is
  // what a unique-key conflict means for this change; without one the change is tried again.
  EQVKeystoreCode Transaction(bool forWrite, std::optional<EQVKeystoreCode> onConflict,
                              const std::function<DbStatus(EQVKeystoreCode&)>& body);
  // Change is Transaction for a change of the key set: the summary is locked and checked before
  // `body` and sealed over the rows as the body left them after it; those rows are `keySet`
  // once the transaction has committed.
  EQVKeystoreCode Change(std::optional<EQVKeystoreCode> onConflict,
                         const std::function<DbStatus(EQVKeystoreCode&)>& body, std::vector<StoredKey>& keySet);
  // CheckedKeySet reads the summary (locked for a change) and every row; `outcome` is
  // KS_ERR_CORRUPTED when they do not agree.
  DbStatus CheckedKeySet(bool forChange, std::vector<StoredKey>& rows, std::uint64_t& generation,
                         EQVKeystoreCode& outcome);
  DbStatus AllRows(std::vector<StoredKey>& rows, EQVKeystoreCode& outcome);
  // LockedVersions reads and locks the versions of `name`, oldest first.
  DbStatus LockedVersions(const std::string& name, std::vector<VersionInfo>& versions);
  using ExistingKeyChange = std::function<DbStatus(const std::vector<VersionInfo>& versions, EQVKeystoreCode&)>;
  // ChangeOfExistingKey is Change for a key that must exist: `body` gets the locked versions of
  // `name` (oldest first) and is not run, KS_ERR_KEY_NOT_FOUND, when there is none.
  EQVKeystoreCode ChangeOfExistingKey(const std::string& name, std::optional<EQVKeystoreCode> onConflict,
                                      const ExistingKeyChange& body, std::vector<StoredKey>& keySet);

  DbBackend& db_;
  std::optional<KeySetSeal> seal_;
  // The highest generation this table has read or written: a lower one is an older key set put
  // back in place.
  std::uint64_t highestGeneration_ = 0;
};

}  // namespace QVCryptoService::keystore_db
