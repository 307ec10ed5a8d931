// The PostgreSQL backend (libpq): one connection, re-established when the server went away.

#include "keystore_db/db_backend.h"

#include <libpq-fe.h>

#include <climits>
#include <cstring>
#include <memory>

namespace QVCryptoService::keystore_db {
namespace {

struct ConnectionCloser {
  void operator()(PGconn* connection) const noexcept { PQfinish(connection); }
};
struct ResultClearer {
  void operator()(PGresult* result) const noexcept { PQclear(result); }
};
using ConnectionPtr = std::unique_ptr<PGconn, ConnectionCloser>;
using ResultPtr = std::unique_ptr<PGresult, ResultClearer>;

constexpr unsigned kByteaOid = 17;  // pg_type.h's BYTEAOID, which only the server headers name

// The server's notices ("relation already exists, skipping") are not the caller's business.
void IgnoreNotice(void* /*context*/, const char* /*message*/) {}

int HexDigit(char digit) {
  if (digit >= '0' && digit <= '9') {
    return digit - '0';
  }
  if (digit >= 'a' && digit <= 'f') {
    return digit - 'a' + 10;
  }
  return -1;
}

// bytea arrives in text results in the hex form "\x0a1b..." (the server's default output).
bool DecodeBytea(const char* text, std::size_t length, std::string& bytes) {
  if (length < 2 || text[0] != '\\' || text[1] != 'x' || length % 2 != 0) {
    return false;
  }
  bytes.clear();
  bytes.reserve((length - 2) / 2);
  for (std::size_t index = 2; index < length; index += 2) {
    const int high = HexDigit(text[index]);
    const int low = HexDigit(text[index + 1]);
    if (high < 0 || low < 0) {
      return false;
    }
    bytes.push_back(static_cast<char>((high << 4) | low));
  }
  return true;
}

class PostgresBackend final : public DbBackend {
 public:
  PostgresBackend(ConnectionPtr connection, int lockTimeoutMs)
      : connection_(std::move(connection)), lockTimeoutMs_(lockTimeoutMs) {}

  // Configure applies the session's settings; again after every reconnection, which loses them.
  DbStatus Configure() {
    (void)PQsetNoticeProcessor(connection_.get(), IgnoreNotice, nullptr);
    // Zero would mean "wait for ever" to the server, unlike the SQLite busy timeout.
    const int timeout = lockTimeoutMs_ > 0 ? lockTimeoutMs_ : 1;
    return Execute("SELECT set_config('lock_timeout', $1, false)", {DbParam::Text(std::to_string(timeout))}, nullptr);
  }

  DbStatus Begin(bool forWrite) override {
    // Writers lock the rows they read (SELECT ... FOR UPDATE) and the unique key catches two
    // writers adding the same row; the default isolation is enough for that. A reader takes one
    // snapshot for all its statements, so that the key set and its summary agree.
    if (PQstatus(connection_.get()) != CONNECTION_OK) {
      PQreset(connection_.get());
      if (PQstatus(connection_.get()) != CONNECTION_OK) {
        lastError_ = PQerrorMessage(connection_.get());
        return DbStatus::kUnavailable;
      }
      if (const DbStatus status = Configure(); status != DbStatus::kOk) {
        return status;
      }
    }
    return Execute(forWrite ? "BEGIN" : "BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY", {}, nullptr);
  }
  DbStatus Commit() override {
    const DbStatus status = Execute("COMMIT", {}, nullptr);
    if (status != DbStatus::kOk) {
      Rollback();
    }
    return status;
  }
  void Rollback() noexcept override {
    if (PQstatus(connection_.get()) == CONNECTION_OK && PQtransactionStatus(connection_.get()) != PQTRANS_IDLE) {
      PQclear(PQexec(connection_.get(), "ROLLBACK"));
    }
  }

  DbStatus Execute(std::string_view sql, const std::vector<DbParam>& params, std::vector<DbRow>* rows) override {
    if (params.size() > static_cast<std::size_t>(INT_MAX)) {
      return DbStatus::kError;
    }
    std::vector<std::string> numbers(params.size());
    std::vector<const char*> values(params.size());
    std::vector<int> lengths(params.size());
    std::vector<int> formats(params.size());
    for (std::size_t index = 0; index < params.size(); ++index) {
      const DbParam& param = params[index];
      if (param.kind == DbParam::Kind::kInt) {
        numbers[index] = std::to_string(param.number);
        values[index] = numbers[index].c_str();
        continue;
      }
      if (param.bytes.size() > static_cast<std::size_t>(INT_MAX)) {
        return DbStatus::kError;
      }
      values[index] = param.bytes.data();
      lengths[index] = static_cast<int>(param.bytes.size());
      formats[index] = param.kind == DbParam::Kind::kBlob ? 1 : 0;
      if (param.kind == DbParam::Kind::kText) {
        numbers[index] = param.bytes;  // text parameters must end in a zero byte
        values[index] = numbers[index].c_str();
      }
    }
    const std::string text(sql);
    const ResultPtr result(PQexecParams(connection_.get(), text.c_str(), static_cast<int>(params.size()), nullptr,
                                        values.data(), lengths.data(), formats.data(), 0));
    const ExecStatusType status = result ? PQresultStatus(result.get()) : PGRES_FATAL_ERROR;
    if (status == PGRES_COMMAND_OK) {
      return DbStatus::kOk;
    }
    if (status != PGRES_TUPLES_OK) {
      return Failed(result.get());
    }
    if (rows != nullptr) {
      return ReadRows(result.get(), *rows);
    }
    return DbStatus::kOk;
  }

  std::string LastError() const override { return lastError_; }
  std::string_view BytesType() const override { return "BYTEA"; }
  std::string_view RowLockClause() const override { return " FOR UPDATE"; }

 private:
  DbStatus ReadRows(PGresult* result, std::vector<DbRow>& rows) {
    const int columns = PQnfields(result);
    for (int tuple = 0; tuple < PQntuples(result); ++tuple) {
      DbRow row(static_cast<std::size_t>(columns));
      for (int column = 0; column < columns; ++column) {
        if (PQgetisnull(result, tuple, column) != 0) {
          continue;
        }
        DbCell& cell = row[static_cast<std::size_t>(column)];
        cell.null = false;
        const char* value = PQgetvalue(result, tuple, column);
        const auto length = static_cast<std::size_t>(PQgetlength(result, tuple, column));
        if (PQftype(result, column) == kByteaOid) {
          if (!DecodeBytea(value, length, cell.bytes)) {
            lastError_ = "unexpected bytea text from the server";
            return DbStatus::kError;
          }
        } else {
          cell.bytes.assign(value, length);
        }
      }
      rows.push_back(std::move(row));
    }
    return DbStatus::kOk;
  }

  DbStatus Failed(PGresult* result) {
    lastError_ = PQerrorMessage(connection_.get());
    if (PQstatus(connection_.get()) != CONNECTION_OK) {
      return DbStatus::kUnavailable;
    }
    const char* state = result != nullptr ? PQresultErrorField(result, PG_DIAG_SQLSTATE) : nullptr;
    if (state == nullptr) {
      return DbStatus::kUnavailable;
    }
    const std::string_view code(state);
    if (code == "23505") {  // unique_violation
      return DbStatus::kConflict;
    }
    if (code == "40001" || code == "40P01") {  // serialization_failure, deadlock_detected
      return DbStatus::kRetry;
    }
    // Connection exceptions, shutdowns, "too many connections" and a lock not granted in time:
    // the database cannot serve the change now.
    if (code.substr(0, 2) == "08" || code.substr(0, 3) == "57P" || code == "53300" || code == "55P03") {
      return DbStatus::kUnavailable;
    }
    return DbStatus::kError;
  }

  ConnectionPtr connection_;
  int lockTimeoutMs_;
  std::string lastError_;
};

}  // namespace

std::unique_ptr<DbBackend> OpenPostgres(const std::string& connection, int lockTimeoutMs, std::string& error) {
  // A server that does not answer must not hold the caller forever; a timeout in the caller's
  // own string comes later and wins. Connection URIs take no such prefix.
  const bool isUri = connection.rfind("postgres://", 0) == 0 || connection.rfind("postgresql://", 0) == 0;
  const std::string withTimeout = isUri ? connection : "connect_timeout=10 " + connection;
  ConnectionPtr handle(PQconnectdb(withTimeout.c_str()));
  if (!handle) {
    error = "out of memory";
    return nullptr;
  }
  if (PQstatus(handle.get()) != CONNECTION_OK) {
    error = PQerrorMessage(handle.get());
    return nullptr;
  }
  auto backend = std::make_unique<PostgresBackend>(std::move(handle), lockTimeoutMs);
  if (backend->Configure() != DbStatus::kOk) {
    error = backend->LastError();
    return nullptr;
  }
  return backend;
}

}  // namespace QVCryptoService::keystore_db
