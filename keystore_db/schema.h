#pragma once

// The keystore's schema and statements, the same for every database: only the name of the
// binary column type differs (BytesType of the backend).
//
// qvks_meta holds the master key's check value (and, for the SSV source, the master key wrapped
// under the SSV), the keystore's random id and the key-set summary (key_set_seal.h). qvks_keys
// holds one row per version of a key; a destroyed version keeps its row, without material, so
// that its number is never handed out again.

#include <string>
#include <string_view>
#include <vector>

namespace QVCryptoService::keystore_db {

inline std::vector<std::string> SchemaStatements(std::string_view bytesType) {
  const std::string bytes(bytesType);
  return {
      "CREATE TABLE IF NOT EXISTS qvks_meta (item TEXT PRIMARY KEY, value " + bytes + " NOT NULL)",
      "CREATE TABLE IF NOT EXISTS qvks_keys ("
      " name TEXT NOT NULL,"
      " version INTEGER NOT NULL CHECK (version > 0),"
      " state INTEGER NOT NULL CHECK (state BETWEEN 1 AND 5),"
      " algorithm TEXT NOT NULL,"
      " key_length INTEGER NOT NULL,"
      " usage_mask INTEGER NOT NULL,"
      " created_at BIGINT NOT NULL,"
      " deactivated_at BIGINT NOT NULL,"
      " wrapped " +
          bytes +
          ","
          " PRIMARY KEY (name, version))",
  };
}

inline constexpr std::string_view kMetaMasterCheck = "master-check";
inline constexpr std::string_view kMetaMasterUnderSsv = "master-under-ssv";
inline constexpr std::string_view kMetaKeystoreId = "keystore-id";
inline constexpr std::string_view kMetaKeySet = "key-set";

// The backend's RowLockClause may follow it, to serialise the changes that rewrite the item.
inline constexpr std::string_view kSelectMeta = "SELECT value FROM qvks_meta WHERE item = $1";
inline constexpr std::string_view kUpdateMeta = "UPDATE qvks_meta SET value = $2 WHERE item = $1";
// Inserted only when absent, so that two processes creating one keystore agree on its master key.
inline constexpr std::string_view kInsertMetaIfAbsent =
    "INSERT INTO qvks_meta (item, value) VALUES ($1, $2) ON CONFLICT (item) DO NOTHING";

inline constexpr std::string_view kSelectAllKeys =
    "SELECT name, version, state, algorithm, key_length, usage_mask, created_at, deactivated_at, wrapped"
    " FROM qvks_keys ORDER BY name, version";
// Rows of one name; the backend's RowLockClause follows it in transactions that change them.
inline constexpr std::string_view kSelectVersionsForUpdate =
    "SELECT version, state, algorithm, key_length, usage_mask FROM qvks_keys WHERE name = $1";
inline constexpr std::string_view kInsertKey =
    "INSERT INTO qvks_keys (name, version, state, algorithm, key_length, usage_mask, created_at, deactivated_at,"
    " wrapped) VALUES ($1, $2, $3, $4, $5, $6, $7, 0, $8)";
inline constexpr std::string_view kDeactivateActive =
    "UPDATE qvks_keys SET state = 3, deactivated_at = $2 WHERE name = $1 AND state IN (1, 2)";
inline constexpr std::string_view kDeactivateVersion =
    "UPDATE qvks_keys SET state = 3, deactivated_at = $3 WHERE name = $1 AND version = $2";
inline constexpr std::string_view kDestroyVersion =
    "UPDATE qvks_keys SET state = 5, wrapped = NULL, deactivated_at = CASE WHEN deactivated_at = 0 THEN $3"
    " ELSE deactivated_at END WHERE name = $1 AND version = $2";

}  // namespace QVCryptoService::keystore_db
