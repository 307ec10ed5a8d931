#include "tests/keystore_db/keystore_db_fixture.h"

#include <qvcryptoservice/qvpax.h>
#include <qvcryptoservice/ssv_crypto.h>

#include <openssl/rand.h>

#include <cstdlib>
#include <fstream>
#include <random>

namespace keystoredbtest {

using namespace QVCryptoService;
using namespace QVCryptoService::keystore_db;

namespace {

std::string PgAdminConnection() {
  const char* file = std::getenv("QVKS_PG_CONNINFO_FILE");
  std::ifstream in(file != nullptr ? file : "");
  std::string connection;
  std::getline(in, connection);
  EXPECT_FALSE(connection.empty()) << "no PostgreSQL test cluster in QVKS_PG_CONNINFO_FILE (run through ctest)";
  return connection;
}

std::unique_ptr<DbBackend> PgAdmin() {
  std::string error;
  std::unique_ptr<DbBackend> admin = OpenPostgres(PgAdminConnection(), 5000, error);
  EXPECT_TRUE(admin) << error;
  return admin;
}

void Execute(DbBackend& db, const std::string& statement) {
  EXPECT_EQ(db.Execute(statement, {}, nullptr), DbStatus::kOk) << statement << ": " << db.LastError();
}

}  // namespace

std::string BackendName(const testing::TestParamInfo<Backend>& info) {
  return info.param == Backend::kSqlite ? "SQLite" : "PostgreSQL";
}

void KeystoreDbTest::SetUp() {
  root_.emplace();
  (void)InitLibrary();
  ASSERT_EQ(QVSSVCrypto::generateSSV(root_->string(), false), KS_SUCCESS);
  hostKeyFile_ = WriteKeyFile("master.hex");
  if (GetParam() == Backend::kSqlite) {
    sqlitePath_ = root_->path() / "keys.db";
    return;
  }
  const std::unique_ptr<DbBackend> admin = PgAdmin();
  ASSERT_TRUE(admin);
  databaseName_ = "qvks_test_" + std::to_string(std::random_device()());
  Execute(*admin, "CREATE DATABASE " + databaseName_);
  connection_ = PgAdminConnection() + " dbname=" + databaseName_;  // the last value of a keyword wins
}

void KeystoreDbTest::TearDown() {
  if (const std::unique_ptr<DbBackend> admin = databaseName_.empty() ? nullptr : PgAdmin()) {
    Execute(*admin, "DROP DATABASE IF EXISTS " + databaseName_ + " WITH (FORCE)");
  }
  root_.reset();
}

std::filesystem::path KeystoreDbTest::WriteKeyFile(const std::string& fileName) const {
  unsigned char key[32];
  EXPECT_EQ(RAND_bytes(key, sizeof key), 1);
  std::ofstream file(root_->path() / fileName);
  for (const unsigned char byte : key) {
    file << "0123456789abcdef"[byte >> 4] << "0123456789abcdef"[byte & 15];
  }
  file << "\n";
  return root_->path() / fileName;
}

zkJson::Value KeystoreDbTest::Config(const std::string& source, const std::filesystem::path& keyFile) const {
  zkJson::Value config(zkJson::objectValue);
  config["backend"] = GetParam() == Backend::kSqlite ? "sqlite" : "postgresql";
  if (GetParam() == Backend::kSqlite) {
    config["path"] = sqlitePath_.string();
  } else {
    config["connection"] = connection_;
  }
  config["masterKey"]["source"] = source;
  if (source == "host") {
    config["masterKey"]["file"] = (keyFile.empty() ? hostKeyFile_ : keyFile).string();
  }
  return config;
}

std::unique_ptr<QVKeystoreDb> KeystoreDbTest::Open(const std::string& source) const {
  auto keystore = std::make_unique<QVKeystoreDb>();
  EXPECT_EQ(keystore->initialize(Config(source)), KS_SUCCESS);
  return keystore;
}

std::unique_ptr<DbBackend> KeystoreDbTest::Connect() const {
  std::string error;
  std::unique_ptr<DbBackend> db = GetParam() == Backend::kSqlite ? OpenSqlite(sqlitePath_.string(), 5000, error)
                                                                 : OpenPostgres(connection_, 5000, error);
  EXPECT_TRUE(db) << error;
  return db;
}

std::vector<std::vector<std::optional<std::string>>> KeystoreDbTest::Sql(const std::string& statement,
                                                                         const std::vector<DbParam>& params) const {
  std::vector<DbRow> found;
  const std::unique_ptr<DbBackend> db = Connect();
  EXPECT_EQ(db->Execute(statement, params, &found), DbStatus::kOk) << statement << ": " << db->LastError();
  std::vector<std::vector<std::optional<std::string>>> rows;
  for (const DbRow& row : found) {
    rows.emplace_back();
    for (const DbCell& cell : row) {
      rows.back().push_back(cell.null ? std::nullopt : std::optional<std::string>(cell.bytes));
    }
  }
  return rows;
}

std::string KeystoreDbTest::Wrapped(const std::string& name, int version) const {
  const auto rows = Sql("SELECT wrapped FROM qvks_keys WHERE name = $1 AND version = $2",
                        {DbParam::Text(name), DbParam::Int(version)});
  return rows.size() == 1 && rows[0][0] ? *rows[0][0] : std::string();
}

void KeystoreDbTest::SetWrapped(const std::string& name, int version, const std::string& bytes) const {
  Sql("UPDATE qvks_keys SET wrapped = $1 WHERE name = $2 AND version = $3",
      {DbParam::Blob(bytes), DbParam::Text(name), DbParam::Int(version)});
}

}  // namespace keystoredbtest
