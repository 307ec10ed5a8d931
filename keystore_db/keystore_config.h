#pragma once

// The keystore's configuration, read from the JSON value given to initialize and checked whole
// before anything is opened or created.

#include <qvcryptoservice/zkjson_value.h>

#include <string>

namespace QVCryptoService::keystore_db {

enum class BackendKind { kSqlite, kPostgres };

enum class MasterKeySource {
  // A random master key kept in the database, encrypted under this machine's SSV.
  kSsv,
  // The host supplies the key: 64 hexadecimal digits in a file, or in an environment variable.
  kHostFile,
  kHostEnvironment,
};

struct KeystoreConfig {
  BackendKind backend = BackendKind::kSqlite;
  std::string sqlitePath;  // resolved: the default path when the configuration names none
  std::string connection;  // libpq connection string
  // How long a change waits for another writer's lock before it gives up with a database error.
  int busyTimeoutMs = 5000;
  MasterKeySource masterKeySource = MasterKeySource::kSsv;
  std::string masterKeyLocation;  // file path or variable name
};

// ParseConfig fills `config` from `value`; false with a one-line `error` when a member is
// missing, unknown, of the wrong type or out of range.
bool ParseConfig(const zkJson::Value& value, KeystoreConfig& config, std::string& error);

// DefaultSqlitePath is where the embedded keystore lives when its path is not configured.
std::string DefaultSqlitePath();

}  // namespace QVCryptoService::keystore_db
