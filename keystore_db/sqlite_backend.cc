// The SQLite backend: one connection to one file, serialised by the keystore's own lock.

#include "keystore_db/db_backend.h"

#include "platform/private_database_file.h"

#include <sqlite3.h>

#include <climits>
#include <memory>

namespace QVCryptoService::keystore_db {
namespace {

struct ConnectionCloser {
  void operator()(sqlite3* connection) const noexcept { sqlite3_close_v2(connection); }
};
struct StatementFinalizer {
  void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
};
using ConnectionPtr = std::unique_ptr<sqlite3, ConnectionCloser>;
using StatementPtr = std::unique_ptr<sqlite3_stmt, StatementFinalizer>;

DbStatus StatusOf(int code) {
  switch (code & 0xff) {
    case SQLITE_OK:
    case SQLITE_ROW:
    case SQLITE_DONE:
      return DbStatus::kOk;
    case SQLITE_CONSTRAINT:
      return DbStatus::kConflict;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      return DbStatus::kCorrupt;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_CANTOPEN:
    case SQLITE_IOERR:
    case SQLITE_READONLY:
    case SQLITE_FULL:
    case SQLITE_PERM:
      return DbStatus::kUnavailable;
    default:
      return DbStatus::kError;
  }
}

// SQLite numbers "?NNN" parameters the way the shared SQL numbers "$NNN"; no statement of the
// keystore contains a '$' otherwise.
std::string SqliteDialect(std::string_view sql) {
  std::string text(sql);
  for (char& character : text) {
    if (character == '$') {
      character = '?';
    }
  }
  return text;
}

class SqliteBackend final : public DbBackend {
 public:
  explicit SqliteBackend(ConnectionPtr connection) : connection_(std::move(connection)) {}

  DbStatus Begin(bool forWrite) override { return Run(forWrite ? "BEGIN IMMEDIATE" : "BEGIN"); }
  DbStatus Commit() override {
    const DbStatus status = Run("COMMIT");
    if (status != DbStatus::kOk) {
      Rollback();
    }
    return status;
  }
  void Rollback() noexcept override {
    if (sqlite3_get_autocommit(connection_.get()) == 0) {
      (void)sqlite3_exec(connection_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
    }
  }

  DbStatus Execute(std::string_view sql, const std::vector<DbParam>& params, std::vector<DbRow>* rows) override {
    const std::string text = SqliteDialect(sql);
    sqlite3_stmt* raw = nullptr;
    if (const int code = sqlite3_prepare_v2(connection_.get(), text.c_str(), -1, &raw, nullptr); code != SQLITE_OK) {
      return Failed(code);
    }
    const StatementPtr statement(raw);
    for (std::size_t index = 0; index < params.size(); ++index) {
      const DbParam& param = params[index];
      const int position = static_cast<int>(index) + 1;
      int code = SQLITE_OK;
      if (param.bytes.size() > static_cast<std::size_t>(INT_MAX)) {
        return Failed(SQLITE_TOOBIG);
      }
      const int length = static_cast<int>(param.bytes.size());
      switch (param.kind) {
        case DbParam::Kind::kInt:
          code = sqlite3_bind_int64(statement.get(), position, param.number);
          break;
        case DbParam::Kind::kText:
          code = sqlite3_bind_text(statement.get(), position, param.bytes.data(), length, SQLITE_TRANSIENT);
          break;
        case DbParam::Kind::kBlob:
          code = sqlite3_bind_blob(statement.get(), position, param.bytes.data(), length, SQLITE_TRANSIENT);
          break;
      }
      if (code != SQLITE_OK) {
        return Failed(code);
      }
    }
    for (;;) {
      const int code = sqlite3_step(statement.get());
      if (code == SQLITE_DONE) {
        return DbStatus::kOk;
      }
      if (code != SQLITE_ROW) {
        return Failed(code);
      }
      if (rows != nullptr) {
        rows->push_back(ReadRow(statement.get()));
      }
    }
  }

  std::string LastError() const override { return lastError_; }
  std::string_view BytesType() const override { return "BLOB"; }
  std::string_view RowLockClause() const override { return ""; }

 private:
  static DbRow ReadRow(sqlite3_stmt* statement) {
    DbRow row(static_cast<std::size_t>(sqlite3_column_count(statement)));
    for (int column = 0; column < static_cast<int>(row.size()); ++column) {
      DbCell& cell = row[static_cast<std::size_t>(column)];
      switch (sqlite3_column_type(statement, column)) {
        case SQLITE_NULL:
          break;
        case SQLITE_INTEGER:
          cell.null = false;
          cell.bytes = std::to_string(sqlite3_column_int64(statement, column));
          break;
        default: {
          cell.null = false;
          // Blob first, then its size, as SQLite asks: the size call may convert the value.
          const void* data = sqlite3_column_blob(statement, column);
          const int size = sqlite3_column_bytes(statement, column);
          if (data != nullptr && size > 0) {
            cell.bytes.assign(static_cast<const char*>(data), static_cast<std::size_t>(size));
          }
          break;
        }
      }
    }
    return row;
  }

  DbStatus Run(const char* sql) {
    const int code = sqlite3_exec(connection_.get(), sql, nullptr, nullptr, nullptr);
    return code == SQLITE_OK ? DbStatus::kOk : Failed(code);
  }

  DbStatus Failed(int code) {
    // SQLite's message for a code is often the code's own description: said once.
    const std::string described = sqlite3_errstr(code);
    const std::string message = sqlite3_errmsg(connection_.get());
    lastError_ = message == described ? message : described + ": " + message;
    return StatusOf(code) == DbStatus::kOk ? DbStatus::kError : StatusOf(code);
  }

  ConnectionPtr connection_;
  std::string lastError_;
};

}  // namespace

std::unique_ptr<DbBackend> OpenSqlite(const std::string& path, int busyTimeoutMs, std::string& error) {
  // The keys in it are wrapped, but names, versions and states are nobody else's business, and
  // a file someone else can write is one whose key set they can roll back.
  if (!platform::PreparePrivateDatabaseFile(path, error)) {
    return nullptr;
  }
  sqlite3* raw = nullptr;
  const int code =
      sqlite3_open_v2(path.c_str(), &raw, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOFOLLOW | SQLITE_OPEN_NOMUTEX, nullptr);
  ConnectionPtr connection(raw);
  if (code != SQLITE_OK) {
    error = std::string("cannot open ") + path + ": " + (raw != nullptr ? sqlite3_errmsg(raw) : sqlite3_errstr(code));
    return nullptr;
  }
  (void)sqlite3_busy_timeout(connection.get(), busyTimeoutMs);
  (void)sqlite3_extended_result_codes(connection.get(), 1);
  // Destroyed material is overwritten in the file, not merely unlinked from the tree; whatever
  // the SQLite build's default is.
  if (const int pragma = sqlite3_exec(connection.get(), "PRAGMA secure_delete = ON", nullptr, nullptr, nullptr);
      pragma != SQLITE_OK) {
    error = std::string("cannot set secure_delete on ") + path + ": " + sqlite3_errmsg(connection.get());
    return nullptr;
  }
  return std::make_unique<SqliteBackend>(std::move(connection));
}

}  // namespace QVCryptoService::keystore_db
