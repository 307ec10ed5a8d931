#pragma once

// The little a keystore needs from a database: transactions and parameterised statements. One
// implementation per database; the SQL they run is the same (see schema.h).

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace QVCryptoService::keystore_db {

enum class DbStatus {
  kOk,
  // The database cannot be reached, or stayed locked past the wait: nothing was changed.
  kUnavailable,
  // A UNIQUE or PRIMARY KEY constraint refused the change: another writer got there first.
  kConflict,
  // The database gave up the transaction to keep it serializable; running it again may succeed.
  kRetry,
  // The file is not a database, or the database reports itself damaged.
  kCorrupt,
  kError,
};

// DbParam is one statement parameter ($1, $2, ... in the SQL, in order).
struct DbParam {
  enum class Kind { kInt, kText, kBlob };
  Kind kind = Kind::kInt;
  std::int64_t number = 0;
  std::string bytes;

  static DbParam Int(std::int64_t value) { return {Kind::kInt, value, {}}; }
  static DbParam Text(std::string value) { return {Kind::kText, 0, std::move(value)}; }
  static DbParam Blob(std::string value) { return {Kind::kBlob, 0, std::move(value)}; }
};

// DbCell is one column of a result row: NULL, or its bytes (integers as decimal text, text as
// it is, binary columns as their raw bytes, whatever the database's own encoding).
struct DbCell {
  bool null = true;
  std::string bytes;
};
using DbRow = std::vector<DbCell>;

class DbBackend {
 public:
  virtual ~DbBackend() = default;

  // Begin starts a transaction. `forWrite` takes the database's write lock at once where the
  // database has one, so that a read-check-write sequence cannot interleave with another writer.
  // A transaction that is not for writing reads one consistent snapshot in all its statements.
  virtual DbStatus Begin(bool forWrite) = 0;
  virtual DbStatus Commit() = 0;
  // Rollback ends a transaction without its changes; harmless when none is open.
  virtual void Rollback() noexcept = 0;
  // Execute runs one statement; the rows it returns are appended to `rows` when given.
  virtual DbStatus Execute(std::string_view sql, const std::vector<DbParam>& params, std::vector<DbRow>* rows) = 0;
  // LastError describes the last failure in the database's words (no parameters, no secrets).
  virtual std::string LastError() const = 0;
  // BytesType is the column type for binary data in this database's dialect.
  virtual std::string_view BytesType() const = 0;
  // RowLockClause is appended to a SELECT whose rows the transaction goes on to change: row
  // locks where the database has them, nothing where Begin(true) already locked everything.
  virtual std::string_view RowLockClause() const = 0;
};

// OpenSqlite opens the database file at `path`, waiting up to `busyTimeoutMs` for another
// process's lock. An absent file is created private (mode 0600); an existing one must be a
// regular file of this account that group and others cannot write. Null with `error` set when
// it cannot.
std::unique_ptr<DbBackend> OpenSqlite(const std::string& path, int busyTimeoutMs, std::string& error);
// OpenPostgres connects with a libpq connection string; a row lock held by another session is
// waited for up to `lockTimeoutMs`. Null with `error` set when it cannot connect.
std::unique_ptr<DbBackend> OpenPostgres(const std::string& connection, int lockTimeoutMs, std::string& error);

}  // namespace QVCryptoService::keystore_db
