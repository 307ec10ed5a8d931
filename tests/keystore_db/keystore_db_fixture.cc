#include "tests/keystore_db/keystore_db_fixture.h"

#include <qvcryptoservice/qvpax.h>
#include <qvcryptoservice/ssv_crypto.h>

#include <libpq-fe.h>
#include <openssl/rand.h>
#include <sqlite3.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>

namespace keystoredbtest {

using namespace QVCryptoService;

namespace {

struct PgCloser {
  void operator()(PGconn* connection) const { PQfinish(connection); }
};
struct PgResultClearer {
  void operator()(PGresult* result) const { PQclear(result); }
};
struct SqliteCloser {
  void operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
};
struct SqliteFinalizer {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};

std::string Hex(const std::vector<std::uint8_t>& bytes) {
  static const char* digits = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text.push_back(digits[byte >> 4]);
    text.push_back(digits[byte & 15]);
  }
  return text;
}

std::string FromHex(const std::string& text) {
  std::string bytes;
  for (std::size_t index = 0; index + 1 < text.size(); index += 2) {
    bytes.push_back(static_cast<char>(std::stoi(text.substr(index, 2), nullptr, 16)));
  }
  return bytes;
}

std::string RandomSuffix() {
  std::random_device entropy;
  return std::to_string(entropy()) + std::to_string(entropy());
}

void NoNotices(void* /*context*/, const char* /*message*/) {}

}  // namespace

std::string BackendName(const testing::TestParamInfo<Backend>& info) {
  return info.param == Backend::kSqlite ? "SQLite" : "PostgreSQL";
}

std::string PgAdminConnection() {
  const char* file = std::getenv("QVKS_PG_CONNINFO_FILE");
  std::ifstream in(file != nullptr ? file : "");
  std::string connection;
  std::getline(in, connection);
  if (connection.empty()) {
    ADD_FAILURE() << "no PostgreSQL test cluster: QVKS_PG_CONNINFO_FILE=" << (file != nullptr ? file : "(unset)")
                  << " (run through ctest, which starts one)";
  }
  return connection;
}

bool PgExecute(const std::string& connection, const std::string& statement, std::string& error) {
  const std::unique_ptr<PGconn, PgCloser> handle(PQconnectdb(connection.c_str()));
  if (PQstatus(handle.get()) != CONNECTION_OK) {
    error = PQerrorMessage(handle.get());
    return false;
  }
  PQsetNoticeProcessor(handle.get(), NoNotices, nullptr);
  const std::unique_ptr<PGresult, PgResultClearer> result(PQexec(handle.get(), statement.c_str()));
  const ExecStatusType status = PQresultStatus(result.get());
  if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) {
    error = PQerrorMessage(handle.get());
    return false;
  }
  return true;
}

void KeystoreDbTest::SetUp() {
  root_.emplace();
  (void)InitLibrary();
  ASSERT_EQ(QVSSVCrypto::generateSSV(root_->string(), false), KS_SUCCESS);
  hostKey_ = WriteKeyFile("master.hex");
  if (GetParam() == Backend::kSqlite) {
    sqlitePath_ = root_->path() / "keys.db";
    return;
  }
  const std::string admin = PgAdminConnection();
  ASSERT_FALSE(admin.empty());
  databaseName_ = "qvks_test_" + RandomSuffix();
  std::string error;
  ASSERT_TRUE(PgExecute(admin, "CREATE DATABASE " + databaseName_, error)) << error;
  // In a libpq connection string the last value of a keyword wins.
  connection_ = admin + " dbname=" + databaseName_;
}

void KeystoreDbTest::TearDown() {
  if (!databaseName_.empty()) {
    std::string error;
    EXPECT_TRUE(PgExecute(PgAdminConnection(), "DROP DATABASE IF EXISTS " + databaseName_ + " WITH (FORCE)", error))
        << error;
  }
  root_.reset();
}

HostKey KeystoreDbTest::WriteKeyFile(const std::string& fileName) const {
  HostKey key;
  key.bytes.resize(32);
  EXPECT_EQ(RAND_bytes(key.bytes.data(), 32), 1);
  key.file = root_->path() / fileName;
  std::ofstream(key.file) << Hex(key.bytes) << "\n";
  return key;
}

zkJson::Value KeystoreDbTest::ConfigWithKeyFile(const std::filesystem::path& keyFile) const {
  zkJson::Value config = Config("host");
  config["masterKey"]["file"] = keyFile.string();
  return config;
}

zkJson::Value KeystoreDbTest::Config(const std::string& masterKeySource) const {
  zkJson::Value config(zkJson::objectValue);
  if (GetParam() == Backend::kSqlite) {
    config["backend"] = "sqlite";
    config["path"] = sqlitePath_.string();
  } else {
    config["backend"] = "postgresql";
    config["connection"] = connection_;
  }
  config["masterKey"]["source"] = masterKeySource;
  if (masterKeySource == "host") {
    config["masterKey"]["file"] = hostKey_.file.string();
  }
  return config;
}

std::unique_ptr<QVKeystoreDb> KeystoreDbTest::Open(const std::string& masterKeySource) const {
  auto keystore = std::make_unique<QVKeystoreDb>();
  EXPECT_EQ(keystore->initialize(Config(masterKeySource)), KS_SUCCESS);
  return keystore;
}

std::vector<std::vector<std::optional<std::string>>> KeystoreDbTest::Sql(const std::string& statement,
                                                                         const std::vector<std::string>& params) const {
  std::vector<std::vector<std::optional<std::string>>> rows;
  if (GetParam() == Backend::kSqlite) {
    sqlite3* raw = nullptr;
    EXPECT_EQ(sqlite3_open(sqlitePath_.c_str(), &raw), SQLITE_OK);
    const std::unique_ptr<sqlite3, SqliteCloser> db(raw);
    sqlite3_stmt* rawStatement = nullptr;
    std::string text = statement;
    for (char& character : text) {
      character = character == '$' ? '?' : character;
    }
    if (sqlite3_prepare_v2(db.get(), text.c_str(), -1, &rawStatement, nullptr) != SQLITE_OK) {
      ADD_FAILURE() << statement << ": " << sqlite3_errmsg(db.get());
      return rows;
    }
    const std::unique_ptr<sqlite3_stmt, SqliteFinalizer> prepared(rawStatement);
    for (std::size_t index = 0; index < params.size(); ++index) {
      sqlite3_bind_text(prepared.get(), static_cast<int>(index + 1), params[index].c_str(), -1, SQLITE_TRANSIENT);
    }
    int code = SQLITE_ROW;
    while ((code = sqlite3_step(prepared.get())) == SQLITE_ROW) {
      std::vector<std::optional<std::string>> row;
      for (int column = 0; column < sqlite3_column_count(prepared.get()); ++column) {
        const auto* value = sqlite3_column_text(prepared.get(), column);
        row.push_back(value == nullptr ? std::nullopt
                                       : std::optional<std::string>(reinterpret_cast<const char*>(value)));
      }
      rows.push_back(std::move(row));
    }
    EXPECT_EQ(code, SQLITE_DONE) << statement << ": " << sqlite3_errmsg(db.get());
    return rows;
  }
  const std::unique_ptr<PGconn, PgCloser> handle(PQconnectdb(connection_.c_str()));
  EXPECT_EQ(PQstatus(handle.get()), CONNECTION_OK) << PQerrorMessage(handle.get());
  std::vector<const char*> values;
  for (const std::string& param : params) {
    values.push_back(param.c_str());
  }
  const std::unique_ptr<PGresult, PgResultClearer> result(PQexecParams(
      handle.get(), statement.c_str(), static_cast<int>(values.size()), nullptr, values.data(), nullptr, nullptr, 0));
  const ExecStatusType status = PQresultStatus(result.get());
  EXPECT_TRUE(status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK)
      << statement << ": " << PQerrorMessage(handle.get());
  for (int tuple = 0; tuple < PQntuples(result.get()); ++tuple) {
    std::vector<std::optional<std::string>> row;
    for (int column = 0; column < PQnfields(result.get()); ++column) {
      row.push_back(PQgetisnull(result.get(), tuple, column) != 0
                        ? std::nullopt
                        : std::optional<std::string>(PQgetvalue(result.get(), tuple, column)));
    }
    rows.push_back(std::move(row));
  }
  return rows;
}

std::string KeystoreDbTest::StoredBytes(const std::string& column, const std::string& table, const std::string& where,
                                        const std::vector<std::string>& params) const {
  const std::string hex =
      GetParam() == Backend::kSqlite ? "lower(hex(" + column + "))" : "encode(" + column + ", 'hex')";
  const auto rows = Sql("SELECT " + hex + " FROM " + table + " WHERE " + where, params);
  if (rows.size() != 1 || !rows[0][0]) {
    ADD_FAILURE() << "no stored " << column << " in " << table << " where " << where;
    return {};
  }
  return FromHex(*rows[0][0]);
}

void KeystoreDbTest::StoreBytes(const std::string& column, const std::string& table, const std::string& where,
                                const std::vector<std::string>& params, const std::string& bytes) const {
  std::vector<std::uint8_t> raw(bytes.begin(), bytes.end());
  const std::string literal = GetParam() == Backend::kSqlite ? "X'" + Hex(raw) + "'" : "'\\x" + Hex(raw) + "'::bytea";
  Sql("UPDATE " + table + " SET " + column + " = " + literal + " WHERE " + where, params);
}

std::string KeystoreDbTest::Wrapped(const std::string& name, int version) const {
  return StoredBytes("wrapped", "qvks_keys", "name = $1 AND version = " + std::to_string(version), {name});
}

void KeystoreDbTest::SetWrapped(const std::string& name, int version, const std::string& bytes) const {
  StoreBytes("wrapped", "qvks_keys", "name = $1 AND version = " + std::to_string(version), {name}, bytes);
}

std::string KeystoreDbTest::StoredMeta(const std::string& item) const {
  return StoredBytes("value", "qvks_meta", "item = $1", {item});
}

void KeystoreDbTest::SetStoredMeta(const std::string& item, const std::string& bytes) const {
  StoreBytes("value", "qvks_meta", "item = $1", {item}, bytes);
}

bool KeystoreDbTest::LockAndWait(const std::string& statements, int lockedSignal, int releaseWait) const {
  const auto signalAndWait = [&] {
    char byte = 'l';
    if (write(lockedSignal, &byte, 1) != 1) {
      return false;
    }
    while (read(releaseWait, &byte, 1) > 0) {
    }
    return true;
  };
  if (GetParam() == Backend::kSqlite) {
    sqlite3* raw = nullptr;
    const bool opened = sqlite3_open(sqlitePath_.c_str(), &raw) == SQLITE_OK;
    const std::unique_ptr<sqlite3, SqliteCloser> db(raw);
    return opened && sqlite3_exec(db.get(), statements.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK &&
           signalAndWait();
  }
  const std::unique_ptr<PGconn, PgCloser> handle(PQconnectdb(connection_.c_str()));
  if (PQstatus(handle.get()) != CONNECTION_OK) {
    return false;
  }
  const std::unique_ptr<PGresult, PgResultClearer> result(PQexec(handle.get(), statements.c_str()));
  return PQresultStatus(result.get()) == PGRES_TUPLES_OK && signalAndWait();
}

}  // namespace keystoredbtest
