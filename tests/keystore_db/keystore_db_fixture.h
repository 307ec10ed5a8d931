#pragma once

// What the database keystore's tests share: each test gets a fresh machine root with an SSV, a
// host master key file and an empty database of the backend under test (a temporary SQLite
// file, or a database of its own on the test cluster whose connection string the CTest fixture
// left in the file named by QVKS_PG_CONNINFO_FILE).

#include "tests/platform/machine_root_fixture.h"

#include <qvcryptoservice/keystore_db.h>
#include <qvcryptoservice/zkjson_value.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace keystoredbtest {

enum class Backend { kSqlite, kPostgres };

std::string BackendName(const testing::TestParamInfo<Backend>& info);

// A master key file of 64 hexadecimal digits, and its bytes.
struct HostKey {
  std::filesystem::path file;
  std::vector<std::uint8_t> bytes;
};

class KeystoreDbTest : public testing::TestWithParam<Backend> {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Config returns the configuration of this test's database with the given master key
  // ("ssv", or "host" with the test's key file).
  zkJson::Value Config(const std::string& masterKeySource = "host") const;
  zkJson::Value ConfigWithKeyFile(const std::filesystem::path& keyFile) const;
  // Open initializes a new keystore on this test's database and expects success.
  std::unique_ptr<QVCryptoService::QVKeystoreDb> Open(const std::string& masterKeySource = "host") const;
  // WriteKeyFile writes a new random master key file and returns it.
  HostKey WriteKeyFile(const std::string& fileName) const;

  // Sql runs a statement directly on this test's database ($1... parameters as text), for tests
  // that look at or damage the stored rows. Returns the rows, each column as text (binary
  // columns as their bytes).
  std::vector<std::vector<std::optional<std::string>>> Sql(const std::string& statement,
                                                           const std::vector<std::string>& params = {}) const;
  // SetWrapped replaces a row's stored material.
  void SetWrapped(const std::string& name, int version, const std::string& bytes) const;
  std::string Wrapped(const std::string& name, int version) const;
  // StoredMeta and SetStoredMeta read and replace an item of qvks_meta, as raw bytes.
  std::string StoredMeta(const std::string& item) const;
  void SetStoredMeta(const std::string& item, const std::string& bytes) const;
  // LockAndWait runs `statements` on a connection of its own, writes one byte to `lockedSignal`
  // and keeps the connection (and its locks) until `releaseWait` reaches end of file.
  bool LockAndWait(const std::string& statements, int lockedSignal, int releaseWait) const;

  // Connection string of this test's PostgreSQL database; path of its SQLite file.
  std::string connection_;
  std::filesystem::path sqlitePath_;
  std::optional<testsupport::TempMachineRoot> root_;
  HostKey hostKey_;

 private:
  // StoredBytes reads one binary column of the one row `where` selects; StoreBytes replaces it.
  std::string StoredBytes(const std::string& column, const std::string& table, const std::string& where,
                          const std::vector<std::string>& params) const;
  void StoreBytes(const std::string& column, const std::string& table, const std::string& where,
                  const std::vector<std::string>& params, const std::string& bytes) const;

  std::string databaseName_;
};

// PgAdminConnection returns the test cluster's connection string (to its "postgres" database),
// or fails the test when the fixture left none.
std::string PgAdminConnection();
// PgExecute runs one statement on a connection; false with the server's message in `error`.
bool PgExecute(const std::string& connection, const std::string& statement, std::string& error);

}  // namespace keystoredbtest
