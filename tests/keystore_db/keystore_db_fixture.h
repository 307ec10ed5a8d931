#pragma once

// What the database keystore's tests share: each test gets a fresh machine root with an SSV, a
// host master key file and an empty database of the backend under test (a temporary SQLite
// file, or a database of its own on the test cluster whose connection string the CTest fixture
// left in the file named by QVKS_PG_CONNINFO_FILE). The tests look at and damage the stored rows
// through the keystore's own database layer.

#include "keystore_db/db_backend.h"
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

class KeystoreDbTest : public testing::TestWithParam<Backend> {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Config is the configuration of this test's database with the master key from "host" (the
  // test's key file, or `keyFile`) or from "ssv".
  zkJson::Value Config(const std::string& source = "host", const std::filesystem::path& keyFile = {}) const;
  // Open initializes a new keystore on this test's database and expects success.
  std::unique_ptr<QVCryptoService::QVKeystoreDb> Open(const std::string& source = "host") const;
  // WriteKeyFile writes a new random master key file of 64 hexadecimal digits.
  std::filesystem::path WriteKeyFile(const std::string& fileName) const;

  // Connect opens a connection of its own to this test's database.
  std::unique_ptr<QVCryptoService::keystore_db::DbBackend> Connect() const;
  // Sql runs one statement on a new connection ($1... parameters: text, or bytes for Blob) and
  // returns its rows, a binary column as its bytes, NULL as nothing.
  std::vector<std::vector<std::optional<std::string>>> Sql(
      const std::string& statement, const std::vector<QVCryptoService::keystore_db::DbParam>& params = {}) const;
  std::string Wrapped(const std::string& name, int version) const;
  void SetWrapped(const std::string& name, int version, const std::string& bytes) const;

  std::filesystem::path sqlitePath_;
  std::string connection_;  // this test's PostgreSQL database
  std::string databaseName_;
  std::optional<testsupport::TempMachineRoot> root_;
  std::filesystem::path hostKeyFile_;
};

std::string BackendName(const testing::TestParamInfo<Backend>& info);

}  // namespace keystoredbtest
