#include "keystore_db/key_table.h"

#include <qvcryptoservice/keystore.h>

#include "keystore_db/schema.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace QVCryptoService::keystore_db {
namespace {

// A serialization failure or deadlock is the database asking to run the change again; a few
// attempts settle any realistic contention.
constexpr int kAttempts = 5;

template <typename Number>
bool ParseNumber(const DbCell& cell, Number& number) {
  if (cell.null) {
    return false;
  }
  const char* end = cell.bytes.data() + cell.bytes.size();
  const auto [stop, error] = std::from_chars(cell.bytes.data(), end, number);
  return error == std::errc() && stop == end;
}

bool ParseKeyRow(const DbRow& row, StoredKey& key) {
  if (row.size() != 9 || row[0].null || row[3].null) {
    return false;
  }
  key.name = row[0].bytes;
  key.algorithm = row[3].bytes;
  key.wrapped = row[8].null ? std::string() : row[8].bytes;
  return ParseNumber(row[1], key.version) && ParseNumber(row[2], key.state) && ParseNumber(row[4], key.keyLength) &&
         ParseNumber(row[5], key.usageMask) && ParseNumber(row[6], key.createdAt) &&
         ParseNumber(row[7], key.deactivatedAt);
}

EQVKeystoreCode CodeOf(DbStatus status) { return status == DbStatus::kCorrupt ? KS_ERR_CORRUPTED : KS_ERR_DATABASE; }

}  // namespace

EQVKeystoreCode KeyTable::Transaction(bool forWrite, std::optional<EQVKeystoreCode> onConflict,
                                      const std::function<DbStatus(EQVKeystoreCode&)>& body) {
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    DbStatus status = db_.Begin(forWrite);
    EQVKeystoreCode outcome = KS_SUCCESS;
    if (status == DbStatus::kOk) {
      status = body(outcome);
    }
    if (status == DbStatus::kOk && outcome != KS_SUCCESS) {
      db_.Rollback();
      return outcome;
    }
    if (status == DbStatus::kOk) {
      status = db_.Commit();
      if (status == DbStatus::kOk) {
        return KS_SUCCESS;
      }
    }
    db_.Rollback();
    if (status == DbStatus::kConflict && onConflict) {
      return *onConflict;
    }
    if (status != DbStatus::kRetry && status != DbStatus::kConflict) {
      return CodeOf(status);
    }
  }
  return KS_ERR_DATABASE;
}

EQVKeystoreCode KeyTable::CreateSchema() {
  // Two processes creating the tables at once may collide in the catalogue: the next attempt
  // finds them made.
  return Transaction(true, std::nullopt, [this](EQVKeystoreCode&) {
    for (const std::string& statement : SchemaStatements(db_.BytesType())) {
      if (const DbStatus status = db_.Execute(statement, {}, nullptr); status != DbStatus::kOk) {
        return status;
      }
    }
    return DbStatus::kOk;
  });
}

DbStatus KeyTable::AllRows(std::vector<StoredKey>& rows, EQVKeystoreCode& outcome) {
  rows.clear();
  std::vector<DbRow> found;
  if (const DbStatus status = db_.Execute(kSelectAllKeys, {}, &found); status != DbStatus::kOk) {
    return status;
  }
  for (const DbRow& row : found) {
    StoredKey key;
    if (!ParseKeyRow(row, key)) {
      outcome = KS_ERR_CORRUPTED;
      return DbStatus::kOk;
    }
    rows.push_back(std::move(key));
  }
  return DbStatus::kOk;
}

DbStatus KeyTable::CheckedKeySet(bool forChange, std::vector<StoredKey>& rows, std::uint64_t& generation,
                                 EQVKeystoreCode& outcome) {
  if (!seal_) {
    outcome = KS_ERR_UNSPECIFIED;
    return DbStatus::kOk;
  }
  std::vector<DbRow> summary;
  const std::string sql = std::string(kSelectMeta) + (forChange ? std::string(db_.RowLockClause()) : std::string());
  if (const DbStatus status = db_.Execute(sql, {DbParam::Text(std::string(kMetaKeySet))}, &summary);
      status != DbStatus::kOk) {
    return status;
  }
  // Another keystore's tables put in place of this one's, even under the same master key.
  std::vector<DbRow> id;
  if (const DbStatus status = db_.Execute(kSelectMeta, {DbParam::Text(std::string(kMetaKeystoreId))}, &id);
      status != DbStatus::kOk) {
    return status;
  }
  if (id.size() != 1 || id[0].size() != 1 || id[0][0].null || id[0][0].bytes != seal_->keystoreId()) {
    outcome = KS_ERR_CORRUPTED;
    return DbStatus::kOk;
  }
  if (const DbStatus status = AllRows(rows, outcome); status != DbStatus::kOk || outcome != KS_SUCCESS) {
    return status;
  }
  const std::optional<std::uint64_t> opened = summary.size() == 1 && summary[0].size() == 1 && !summary[0][0].null
                                                  ? seal_->Open(summary[0][0].bytes, rows)
                                                  : std::nullopt;
  if (!opened || *opened < highestGeneration_) {
    outcome = KS_ERR_CORRUPTED;
    return DbStatus::kOk;
  }
  generation = *opened;
  return DbStatus::kOk;
}

EQVKeystoreCode KeyTable::Change(std::optional<EQVKeystoreCode> onConflict,
                                 const std::function<DbStatus(EQVKeystoreCode&)>& body,
                                 std::vector<StoredKey>& keySet) {
  std::uint64_t sealed = 0;
  std::vector<StoredKey> rows;
  const EQVKeystoreCode code = Transaction(true, onConflict, [&](EQVKeystoreCode& outcome) {
    std::uint64_t generation = 0;
    DbStatus status = CheckedKeySet(true, rows, generation, outcome);
    if (status == DbStatus::kOk && outcome == KS_SUCCESS) {
      status = body(outcome);
    }
    if (status == DbStatus::kOk && outcome == KS_SUCCESS) {
      status = AllRows(rows, outcome);
    }
    if (status != DbStatus::kOk || outcome != KS_SUCCESS) {
      return status;
    }
    const std::optional<std::string> summary =
        generation < std::numeric_limits<std::uint64_t>::max() ? seal_->Seal(generation + 1, rows) : std::nullopt;
    if (!summary) {
      outcome = KS_ERR_UNSPECIFIED;
      return DbStatus::kOk;
    }
    sealed = generation + 1;
    return db_.Execute(kUpdateMeta, {DbParam::Text(std::string(kMetaKeySet)), DbParam::Blob(*summary)}, nullptr);
  });
  if (code == KS_SUCCESS) {
    highestGeneration_ = std::max(highestGeneration_, sealed);
    keySet = std::move(rows);
  }
  return code;
}

EQVKeystoreCode KeyTable::LoadAll(std::vector<StoredKey>& keys) {
  std::vector<StoredKey> loaded;
  std::uint64_t generation = 0;
  const EQVKeystoreCode code = Transaction(false, KS_ERR_DATABASE, [&](EQVKeystoreCode& outcome) {
    return CheckedKeySet(false, loaded, generation, outcome);
  });
  if (code == KS_SUCCESS) {
    highestGeneration_ = std::max(highestGeneration_, generation);
    keys = std::move(loaded);
  }
  return code;
}

EQVKeystoreCode KeyTable::ReadMeta(const std::vector<std::string>& items,
                                   std::vector<std::optional<std::string>>& values) {
  std::vector<std::optional<std::string>> found(items.size());
  const EQVKeystoreCode code = Transaction(false, KS_ERR_DATABASE, [&](EQVKeystoreCode&) {
    for (std::size_t index = 0; index < items.size(); ++index) {
      std::vector<DbRow> rows;
      const DbStatus status = db_.Execute(kSelectMeta, {DbParam::Text(items[index])}, &rows);
      if (status != DbStatus::kOk) {
        return status;
      }
      found[index] = rows.empty() || rows[0].empty() || rows[0][0].null ? std::nullopt
                                                                        : std::optional<std::string>(rows[0][0].bytes);
    }
    return DbStatus::kOk;
  });
  if (code == KS_SUCCESS) {
    values = std::move(found);
  }
  return code;
}

EQVKeystoreCode KeyTable::InsertMetaIfAbsent(const std::vector<std::pair<std::string, std::string>>& items) {
  return Transaction(true, KS_ERR_DATABASE, [&](EQVKeystoreCode&) {
    for (const auto& [item, value] : items) {
      const DbStatus status = db_.Execute(kInsertMetaIfAbsent, {DbParam::Text(item), DbParam::Blob(value)}, nullptr);
      if (status != DbStatus::kOk) {
        return status;
      }
    }
    return DbStatus::kOk;
  });
}

DbStatus KeyTable::LockedVersions(const std::string& name, std::vector<VersionInfo>& versions) {
  versions.clear();
  std::vector<DbRow> rows;
  const std::string sql = std::string(kSelectVersionsForUpdate) + std::string(db_.RowLockClause());
  const DbStatus status = db_.Execute(sql, {DbParam::Text(name)}, &rows);
  if (status != DbStatus::kOk) {
    return status;
  }
  for (const DbRow& row : rows) {
    VersionInfo info{};
    if (row.size() != 5 || !ParseNumber(row[0], info.version) || !ParseNumber(row[1], info.state) || row[2].null ||
        !ParseNumber(row[3], info.keyLength) || !ParseNumber(row[4], info.usageMask)) {
      return DbStatus::kCorrupt;
    }
    info.algorithm = row[2].bytes;
    versions.push_back(std::move(info));
  }
  std::sort(versions.begin(), versions.end(),
            [](const VersionInfo& a, const VersionInfo& b) { return a.version < b.version; });
  return DbStatus::kOk;
}

EQVKeystoreCode KeyTable::ChangeOfExistingKey(const std::string& name, std::optional<EQVKeystoreCode> onConflict,
                                              const ExistingKeyChange& body, std::vector<StoredKey>& keySet) {
  return Change(
      onConflict,
      [&](EQVKeystoreCode& outcome) {
        std::vector<VersionInfo> versions;
        if (const DbStatus status = LockedVersions(name, versions); status != DbStatus::kOk) {
          return status;
        }
        if (versions.empty()) {
          outcome = KS_ERR_KEY_NOT_FOUND;
          return DbStatus::kOk;
        }
        return body(versions, outcome);
      },
      keySet);
}

namespace {

DbStatus InsertRow(DbBackend& db, const StoredKey& row) {
  return db.Execute(kInsertKey,
                    {DbParam::Text(row.name), DbParam::Int(row.version), DbParam::Int(row.state),
                     DbParam::Text(row.algorithm), DbParam::Int(row.keyLength), DbParam::Int(row.usageMask),
                     DbParam::Int(row.createdAt), DbParam::Blob(row.wrapped)},
                    nullptr);
}

}  // namespace

EQVKeystoreCode KeyTable::CreateFirst(StoredKey& row, const MakeWrapped& wrap, std::vector<StoredKey>& keySet) {
  return Change(
      KS_ERR_KEY_EXISTS,
      [&](EQVKeystoreCode& outcome) {
        std::vector<VersionInfo> versions;
        if (const DbStatus status = LockedVersions(row.name, versions); status != DbStatus::kOk) {
          return status;
        }
        if (std::any_of(versions.begin(), versions.end(),
                        [](const VersionInfo& info) { return info.state != QV_KEY_DESTROYED; })) {
          outcome = KS_ERR_KEY_EXISTS;
          return DbStatus::kOk;
        }
        row.version = versions.empty() ? 1 : versions.back().version + 1;
        row.state = QV_KEY_ACTIVE;
        row.deactivatedAt = 0;
        std::optional<std::string> wrapped = wrap(row);
        if (!wrapped) {
          outcome = KS_ERR_UNSPECIFIED;
          return DbStatus::kOk;
        }
        row.wrapped = std::move(*wrapped);
        return InsertRow(db_, row);
      },
      keySet);
}

EQVKeystoreCode KeyTable::Rotate(const std::string& name, std::int32_t expectedVersion, std::int64_t now,
                                 const MakeWrapped& wrap, std::vector<StoredKey>& keySet) {
  return ChangeOfExistingKey(
      name, KS_ERR_KEY_VERSION_EXISTS,
      [&](const std::vector<VersionInfo>& versions, EQVKeystoreCode& outcome) {
        const VersionInfo& newest = versions.back();
        if (newest.version != expectedVersion) {
          outcome = KS_ERR_KEY_VERSION_EXISTS;
          return DbStatus::kOk;
        }
        if (newest.version == std::numeric_limits<std::int32_t>::max()) {
          outcome = KS_ERR_INVALID_PARAMETERS;
          return DbStatus::kOk;
        }
        StoredKey row;
        row.name = name;
        row.version = newest.version + 1;
        row.state = QV_KEY_ACTIVE;
        row.algorithm = newest.algorithm;
        row.keyLength = newest.keyLength;
        row.usageMask = newest.usageMask;
        row.createdAt = now;
        row.deactivatedAt = 0;
        std::optional<std::string> wrapped = wrap(row);
        if (!wrapped) {
          outcome = KS_ERR_UNSPECIFIED;
          return DbStatus::kOk;
        }
        row.wrapped = std::move(*wrapped);
        if (const DbStatus status = db_.Execute(kDeactivateActive, {DbParam::Text(name), DbParam::Int(now)}, nullptr);
            status != DbStatus::kOk) {
          return status;
        }
        return InsertRow(db_, row);
      },
      keySet);
}

EQVKeystoreCode KeyTable::Destroy(const std::string& name, std::int32_t version, std::int64_t now,
                                  std::vector<StoredKey>& keySet) {
  return ChangeOfExistingKey(
      name, KS_ERR_DATABASE,
      [&](const std::vector<VersionInfo>& versions, EQVKeystoreCode& outcome) {
        bool destroyedAny = false;
        for (const VersionInfo& info : versions) {
          if ((version == 0 || info.version == version) && info.state != QV_KEY_DESTROYED) {
            const DbStatus status = db_.Execute(
                kDestroyVersion, {DbParam::Text(name), DbParam::Int(info.version), DbParam::Int(now)}, nullptr);
            if (status != DbStatus::kOk) {
              return status;
            }
            destroyedAny = true;
          }
        }
        if (!destroyedAny) {
          outcome = KS_ERR_KEY_VERSION_NOT_FOUND;
        }
        return DbStatus::kOk;
      },
      keySet);
}

EQVKeystoreCode KeyTable::Retire(const std::string& name, std::int32_t version, std::int64_t now,
                                 std::vector<StoredKey>& keySet) {
  return ChangeOfExistingKey(
      name, KS_ERR_DATABASE,
      [&](const std::vector<VersionInfo>& versions, EQVKeystoreCode& outcome) {
        const auto target = std::find_if(versions.begin(), versions.end(), [version](const VersionInfo& info) {
          return version == 0 ? info.state == QV_KEY_ACTIVE : info.version == version;
        });
        if (target == versions.end() || target->state == QV_KEY_DESTROYED) {
          outcome = KS_ERR_KEY_VERSION_NOT_FOUND;
          return DbStatus::kOk;
        }
        if (target->state != QV_KEY_ACTIVE && target->state != QV_KEY_PRE_ACTIVE) {
          outcome = KS_ERR_INVALID_PARAMETERS;
          return DbStatus::kOk;
        }
        return db_.Execute(kDeactivateVersion, {DbParam::Text(name), DbParam::Int(target->version), DbParam::Int(now)},
                           nullptr);
      },
      keySet);
}

}  // namespace QVCryptoService::keystore_db
