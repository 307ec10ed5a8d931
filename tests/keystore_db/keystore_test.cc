// The keystore on each backend: versions and states, the code of each refusal, edits of the key
// set by someone without the master key, and a database that stops answering.

#include "keystore_db/db_backend.h"
#include "tests/platform/machine_root_fixture.h"
#include "tests/support/data_table.h"

#include <qvcryptoservice/keystore_db.h>
#include <qvcryptoservice/keystore_mgr.h>
#include <qvcryptoservice/qvcrypto.h>
#include <qvcryptoservice/qvpax.h>
#include <qvcryptoservice/record_hygiene.h>
#include <qvcryptoservice/ssv_crypto.h>
#include <qvcryptoservice/zkjson_value.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <random>
#include <thread>

namespace keystoredbtest {
namespace {

enum class Backend { kSqlite, kPostgres };

using namespace QVCryptoService;
using namespace QVCryptoService::keystore_db;

// Each test gets a fresh machine root with an SSV, a host master key file and an empty database
// of the backend under test: a temporary SQLite file, or a database of its own on the test
// cluster (which goes with the cluster). The tests look at and damage the stored rows through
// the keystore's database layer.
class KeystoreTest : public testing::TestWithParam<Backend> {
 protected:
  void SetUp() override {
    (void)InitLibrary();
    ASSERT_EQ(QVSSVCrypto::generateSSV(root_.string(), false), KS_SUCCESS);
    hostKeyFile_ = WriteKeyFile("master.hex", '1');
    if (GetParam() == Backend::kPostgres) {
      database_ = "qvks_test_" + std::to_string(std::random_device()());
      Sql("CREATE DATABASE " + database_, {}, true);
    }
  }
  // Config: this test's database with the master key from "host" (the test's file, or `keyFile`)
  // or from "ssv".
  zkJson::Value Config(const std::string& source = "host", const std::filesystem::path& keyFile = {}) const {
    zkJson::Value config(zkJson::objectValue);
    const bool sqlite = GetParam() == Backend::kSqlite;
    config["backend"] = sqlite ? "sqlite" : "postgresql";
    config[sqlite ? "path" : "connection"] = sqlite ? SqlitePath() : Connection();
    config["masterKey"]["source"] = source;
    if (source == "host") {
      config["masterKey"]["file"] = (keyFile.empty() ? hostKeyFile_ : keyFile).string();
    }
    return config;
  }
  std::unique_ptr<QVKeystoreDb> Open() const {
    auto keystore = std::make_unique<QVKeystoreDb>();
    EXPECT_EQ(keystore->initialize(Config()), KS_SUCCESS);
    return keystore;
  }
  std::filesystem::path WriteKeyFile(const std::string& fileName, char digit) const {
    std::ofstream(root_.path() / fileName) << std::string(64, digit) << "\n";
    return root_.path() / fileName;
  }

  // Connect opens a connection of its own to this test's database, or to the cluster's as its
  // administrator; Sql runs one statement on a new one and returns the first field it gives, if any.
  std::unique_ptr<DbBackend> Connect(bool admin = false) const {
    std::string error;
    std::unique_ptr<DbBackend> db = GetParam() == Backend::kSqlite && !admin
                                        ? OpenSqlite(SqlitePath(), 5000, error)
                                        : OpenPostgres(admin ? AdminConnection() : Connection(), 5000, error);
    EXPECT_TRUE(db) << error;
    return db;
  }
  std::string Sql(const std::string& statement, const std::vector<DbParam>& params = {}, bool admin = false) const {
    std::vector<DbRow> rows;
    const std::unique_ptr<DbBackend> db = Connect(admin);
    if (db) {
      EXPECT_EQ(db->Execute(statement, params, &rows), DbStatus::kOk) << statement << ": " << db->LastError();
    }
    return rows.empty() ? std::string() : rows[0][0].bytes;
  }
  std::string Wrapped(int version) const {
    return Sql("SELECT wrapped FROM qvks_keys WHERE name = 'k' AND version = $1", {DbParam::Int(version)});
  }

 private:
  std::string SqlitePath() const { return (root_.path() / "keys.db").string(); }
  // The last value of a keyword wins: this test's database on the cluster.
  std::string Connection() const { return AdminConnection() + " dbname=" + database_; }
  static std::string AdminConnection() {
    const char* file = std::getenv("QVKS_PG_CONNINFO_FILE");
    std::string connection;
    std::getline(std::ifstream(file != nullptr ? file : ""), connection);
    EXPECT_FALSE(connection.empty()) << "no PostgreSQL test cluster in QVKS_PG_CONNINFO_FILE (run through ctest)";
    return connection;
  }

  testsupport::TempMachineRoot root_;
  std::filesystem::path hostKeyFile_;
  std::string database_;
};

TEST_P(KeystoreTest, VersionsAndStatesFollowRotationRetirementAndDestruction) {
  auto keystore = Open();
  ASSERT_EQ(keystore->createKey("k"), KS_SUCCESS);
  SecureBlock key;
  QVKeyControlData ctl;
  ASSERT_EQ(keystore->getKey("k", key, ctl, 0), KS_SUCCESS);
  EXPECT_EQ(std::tie(ctl.version, ctl.state, ctl.algorithm, ctl.keyLength, ctl.usageMask, ctl.formatVersion),
            std::make_tuple(1, 2, std::string("aes-256-cbc"), 32, 4, 0x01000000));
  EXPECT_TRUE(key.size() == 32 && ctl.symmetric && ctl.createdAt > 1700000000 && ctl.deactivatedAt == 0);
  const SecureBlock version1 = key;
  EXPECT_EQ(Wrapped(1).size(), 1u + 12 + 32 + 16) << "stored otherwise than wrapped";

  ASSERT_EQ(keystore->reKey("k"), KS_SUCCESS);
  ASSERT_EQ(keystore->getKey("k", key, ctl, 0), KS_SUCCESS);
  EXPECT_EQ(std::tie(ctl.version, ctl.state), std::make_tuple(2, 2));
  EXPECT_NE(key, version1);
  ASSERT_EQ(keystore->getKey("k", key, ctl, 1), KS_SUCCESS);
  EXPECT_TRUE(ctl.state == 3 && ctl.deactivatedAt > 0 && key == version1);

  ASSERT_EQ(keystore->reKey("k", 2), KS_SUCCESS);
  ASSERT_EQ(keystore->retireKey("k", 3), KS_SUCCESS);
  // Version 0 is the active version or nothing: a retired key is no longer handed out as current.
  EXPECT_EQ(keystore->getKey("k", key, ctl, 0), KS_ERR_KEY_VERSION_NOT_FOUND);
  ASSERT_EQ(keystore->getKey("k", key, ctl, 3), KS_SUCCESS);
  EXPECT_EQ(ctl.state, 3);
  ASSERT_EQ(keystore->destroyKey("k", 3), KS_SUCCESS);
  std::vector<QVKeyListEntry> live;
  ASSERT_EQ(keystore->listKeys(false, live), KS_SUCCESS);
  EXPECT_EQ(live, (std::vector<QVKeyListEntry>{{"k", 1}, {"k", 2}}));
  std::vector<QVKeyListEntry> all = {{"kept", 9}};
  ASSERT_EQ(keystore->listKeys(true, all), KS_SUCCESS);
  EXPECT_EQ(all, (std::vector<QVKeyListEntry>{{"kept", 9}, {"k", 1}, {"k", 2}, {"k", 3}}));
  EXPECT_EQ(Sql("SELECT count(*) FROM qvks_keys WHERE wrapped IS NULL"), "1");

  // Every version destroyed: the name is unknown, and a new key starts after the old numbers.
  ASSERT_EQ(keystore->destroyKey("k", 0), KS_SUCCESS);
  EXPECT_EQ(keystore->getKey("k", key, ctl, 0), KS_ERR_KEY_NOT_FOUND);
  ASSERT_EQ(keystore->createKey("k"), KS_SUCCESS);
  ASSERT_EQ(keystore->getKey("k", key, ctl, 0), KS_SUCCESS);
  EXPECT_EQ(ctl.version, 4);
}

// The upgrade check reads the states this keystore keeps: a text is current under the active
// version, to be re-made once the key is rotated, current again once re-made, and to be re-made
// (and never readable) once its version is destroyed.
TEST_P(KeystoreTest, TheUpgradeCheckFollowsRotationRewrapAndDestruction) {
  const std::shared_ptr<QVKeystoreDb> keystore = Open();
  ASSERT_EQ(keystore->createKey("k"), KS_SUCCESS);
  auto keystores = std::make_shared<CQVKeystoreMgr>();
  (void)keystores->AddKeystore(kDefaultKeystoreName, keystore);
  const QVCrypto engine(keystores);
  std::string old;
  ASSERT_EQ(engine.encrypt("", "aes-256-cbc", "k", SecureBlock(5, 'p'), old), PXA_OK);
  const RecordPolicy policy;
  EXPECT_EQ(CheckRecord(old, policy, *keystore).verdict, RecordVerdict::kCurrent);

  ASSERT_EQ(keystore->reKey("k"), KS_SUCCESS);
  RecordCheck check = CheckRecord(old, policy, *keystore);
  EXPECT_EQ(std::tie(check.verdict, check.keyVersion, check.keyState, check.activeVersion),
            std::make_tuple(RecordVerdict::kRemake, 1, 3, 2));
  SecureBlock plain;
  ASSERT_EQ(engine.decrypt("", "aes-256-cbc", "k", old, plain), PXA_OK);
  std::string rewrapped;
  ASSERT_EQ(engine.encrypt("", "aes-256-cbc", "k", plain, rewrapped), PXA_OK);
  EXPECT_EQ(CheckRecord(rewrapped, policy, *keystore).verdict, RecordVerdict::kCurrent);

  ASSERT_EQ(keystore->destroyKey("k", 1), KS_SUCCESS);
  check = CheckRecord(old, policy, *keystore);
  EXPECT_EQ(std::tie(check.verdict, check.keyState), std::make_tuple(RecordVerdict::kRemake, 0));
  EXPECT_EQ(CheckRecord(rewrapped, policy, *keystore).verdict, RecordVerdict::kCurrent);
}

TEST_P(KeystoreTest, KeyShapesAndRefusals) {
  QVKeystoreDb uninitialized;
  auto keystore = Open();
  ASSERT_EQ(keystore->createKey("k"), KS_SUCCESS);
  ASSERT_EQ(keystore->reKey("k"), KS_SUCCESS);
  ASSERT_EQ(keystore->destroyKey("k", 1), KS_SUCCESS);
  SecureBlock key = {7};
  QVKeyControlData ctl;
  ctl.version = 42;
  QVKeyControlData preActive;
  preActive.state = 1;
  const std::vector<std::tuple<const char*, std::function<std::int32_t()>, std::int32_t>> cases = {
      {"getKey unknown name", [&] { return keystore->getKey("nope", key, ctl, 0); }, KS_ERR_KEY_NOT_FOUND},
      {"getKey unknown version", [&] { return keystore->getKey("k", key, ctl, 7); }, KS_ERR_KEY_VERSION_NOT_FOUND},
      {"getKey destroyed version", [&] { return keystore->getKey("k", key, ctl, 1); }, KS_ERR_KEY_VERSION_NOT_FOUND},
      {"getKey negative version", [&] { return keystore->getKey("k", key, ctl, -1); }, KS_ERR_INVALID_PARAMETERS},
      {"createKey existing", [&] { return keystore->createKey("k"); }, KS_ERR_KEY_EXISTS},
      {"createKey empty name", [&] { return keystore->createKey(""); }, KS_ERR_INVALID_PARAMETERS},
      {"createKey NUL", [&] { return keystore->createKey(std::string("a\0b", 3)); }, KS_ERR_INVALID_PARAMETERS},
      {"createKey long name", [&] { return keystore->createKey(std::string(256, 'n')); }, KS_ERR_INVALID_PARAMETERS},
      {"createKey pre-active", [&] { return keystore->createKey("p", &preActive); }, KS_ERR_INVALID_PARAMETERS},
      {"createKeyPair", [&] { return keystore->createKeyPair("pair"); }, KS_ERR_NOT_SUPPORTED},
      {"destroyKey unknown name", [&] { return keystore->destroyKey("nope", 1); }, KS_ERR_KEY_NOT_FOUND},
      {"destroyKey destroyed", [&] { return keystore->destroyKey("k", 1); }, KS_ERR_KEY_VERSION_NOT_FOUND},
      {"destroyKey negative version", [&] { return keystore->destroyKey("k", -2); }, KS_ERR_INVALID_PARAMETERS},
      {"reKey unknown name", [&] { return keystore->reKey("nope"); }, KS_ERR_KEY_NOT_FOUND},
      {"reKey stale expectation", [&] { return keystore->reKey("k", 1); }, KS_ERR_KEY_VERSION_EXISTS},
      {"retireKey destroyed", [&] { return keystore->retireKey("k", 1); }, KS_ERR_KEY_VERSION_NOT_FOUND},
      {"retireKey unknown name", [&] { return keystore->retireKey("nope", 1); }, KS_ERR_KEY_NOT_FOUND},
      {"uninitialized getKey", [&] { return uninitialized.getKey("k", key, ctl, 0); }, KS_ERR_DATABASE},
      {"uninitialized createKey", [&] { return uninitialized.createKey("k"); }, KS_ERR_DATABASE},
      {"uninitialized re_sync", [&] { return uninitialized.re_sync(); }, KS_ERR_DATABASE},
  };
  for (const auto& [what, call, want] : cases) {
    EXPECT_EQ(call(), want) << what;
  }
  EXPECT_EQ(key, SecureBlock{7}) << "a failed getKey wrote the key";
  EXPECT_EQ(ctl.version, 42) << "a failed getKey wrote the control data";
  // Keys of each shape the control data can ask for, or a refusal that leaves no row.
  int index = 0;
  for (const testsupport::DataRow& row : testsupport::ReadDataTable("keystore_db_key_shapes.tsv")) {
    const std::string name = "shape" + std::to_string(index++);
    QVKeyControlData shape;
    std::tie(shape.algorithm, shape.keyLength) = std::make_tuple(row["algorithm"], std::stoi(row["asked"]));
    const bool refused = row["length"] == "refused";
    ASSERT_EQ(keystore->createKey(name, &shape), refused ? KS_ERR_INVALID_PARAMETERS : KS_SUCCESS) << row.where;
    SecureBlock shaped;
    if (!refused) {
      ASSERT_EQ(keystore->getKey(name, shaped, shape, 0), KS_SUCCESS);
      const int length = std::stoi(row["length"]);
      EXPECT_EQ(std::tie(shape.algorithm, shape.keyLength, shape.usageMask),
                std::make_tuple(row["algorithm"], length, std::stoi(row["usage"])))
          << row.where;
      EXPECT_EQ(shaped.size(), static_cast<std::size_t>(length)) << row.where;
    }
  }
  EXPECT_EQ(Sql("SELECT count(*) FROM qvks_keys"), "6");
  EXPECT_EQ(keystore->retireKey("k", 2), KS_SUCCESS);
  EXPECT_EQ(keystore->retireKey("k", 2), KS_ERR_INVALID_PARAMETERS) << "retiring twice";
}

// Edits of the key set by someone who can write the database but has no master key. Each starts
// from "k" with version 1 deactivated and version 2 active, loaded by `live`. The keystore that
// loaded the set before refuses to reload it and goes on serving what it had; a keystore opened
// afterwards refuses it at initialize or, for material from another keystore, at getKey.
TEST_P(KeystoreTest, EditsOfTheKeySetGiveCorrupted) {
  const auto summary = [this] { return Sql("SELECT value FROM qvks_meta WHERE item = 'key-set'"); };
  const auto setSummary = [this](const std::string& bytes) {
    Sql("UPDATE qvks_meta SET value = $1 WHERE item = 'key-set'", {DbParam::Blob(bytes)});
  };
  // What, the edit, and whether a keystore opened afterwards can tell (not a whole older key set).
  std::vector<std::tuple<std::string, std::function<void(QVKeystoreDb&)>, bool>> cases = {
      {"the summary's tag changed",
       [&](QVKeystoreDb&) {
         std::string bytes = summary();
         bytes.back() = static_cast<char>(bytes.back() ^ 0x01);
         setSummary(bytes);
       },
       true},
      {"an earlier key set put back whole, summary and all",
       [&](QVKeystoreDb& live) {
         const std::string earlier = summary();
         ASSERT_EQ(live.reKey("k"), KS_SUCCESS);
         Sql("DELETE FROM qvks_keys WHERE name = 'k' AND version = 3");
         Sql("UPDATE qvks_keys SET state = 2, deactivated_at = 0 WHERE name = 'k' AND version = 2");
         setSummary(earlier);
       },
       false},
      {"the key set replaced by another keystore's under the same master key, one key's material copied",
       [&](QVKeystoreDb&) {
         const std::string copied = Wrapped(2);
         Sql("DELETE FROM qvks_keys");
         Sql("DELETE FROM qvks_meta");
         auto other = Open();
         ASSERT_EQ(other->createKey("k"), KS_SUCCESS);
         ASSERT_EQ(other->reKey("k"), KS_SUCCESS);
         Sql("UPDATE qvks_keys SET wrapped = $1 WHERE name = 'k' AND version = 2", {DbParam::Blob(copied)});
       },
       true},
  };
  for (const testsupport::DataRow& row : testsupport::ReadDataTable("keystore_db_key_set_edits.tsv")) {
    cases.emplace_back(
        row["edit"], [this, statement = row["statement"]](QVKeystoreDb&) { Sql(statement); }, true);
  }
  (void)Open();  // the tables, emptied for every case
  for (const auto& [what, edit, newKeystoreSees] : cases) {
    SCOPED_TRACE(what);
    Sql("DELETE FROM qvks_keys");
    Sql("DELETE FROM qvks_meta");
    auto live = Open();
    ASSERT_EQ(live->createKey("k"), KS_SUCCESS);
    ASSERT_EQ(live->reKey("k"), KS_SUCCESS);
    edit(*live);
    SecureBlock before;
    SecureBlock after;
    QVKeyControlData ctl;
    ASSERT_EQ(live->getKey("k", before, ctl, 0), KS_SUCCESS);
    const int version = ctl.version;
    EXPECT_EQ((std::vector<std::int32_t>{live->refreshKeys(false), live->re_sync()}),
              std::vector<std::int32_t>(2, KS_ERR_CORRUPTED));
    EXPECT_EQ(live->getKey("k", after, ctl, 0), KS_SUCCESS);
    EXPECT_EQ(std::tie(ctl.version, after), std::tie(version, before));
    if (newKeystoreSees) {
      QVKeystoreDb opened;
      std::int32_t code = opened.initialize(Config());
      EXPECT_EQ(code == KS_SUCCESS ? opened.getKey("k", after, ctl, 0) : code, KS_ERR_CORRUPTED);
    }
  }
}

TEST_P(KeystoreTest, OnlyTheRightMasterKeyOpensTheKeySet) {
  ASSERT_EQ(Open()->createKey("k"), KS_SUCCESS);
  QVKeystoreDb wrongHost;
  EXPECT_EQ(wrongHost.initialize(Config("host", WriteKeyFile("other.hex", '2'))), KS_ERR_CORRUPTED);
  QVKeystoreDb wrongSource;  // made with a host key, opened with the SSV
  EXPECT_EQ(wrongSource.initialize(Config("ssv")), KS_ERR_CORRUPTED);
  // The right key opens it, from its file or from a variable, and the failed attempts added nothing.
  ASSERT_EQ(setenv("QVKS_TEST_MASTER", std::string(64, '1').c_str(), 1), 0);
  zkJson::Value viaVariable = Config("ssv");
  viaVariable["masterKey"]["source"] = "host";
  viaVariable["masterKey"]["env"] = "QVKS_TEST_MASTER";
  QVKeystoreDb keystore;
  EXPECT_EQ(keystore.initialize(viaVariable), KS_SUCCESS);
  EXPECT_EQ(Sql("SELECT count(*) FROM qvks_meta"), "3");
  EXPECT_EQ(Open()->re_sync(), KS_SUCCESS);
  // A database of the earlier format, without keystore id and summary, is refused, not misread.
  Sql("DELETE FROM qvks_meta WHERE item IN ('keystore-id', 'key-set')");
  QVKeystoreDb older;
  EXPECT_EQ(older.initialize(Config()), KS_ERR_NOT_SUPPORTED);
  Sql("DELETE FROM qvks_meta");  // the check value gone: re_sync notices
  EXPECT_EQ(keystore.re_sync(), KS_ERR_CORRUPTED);
}

// Another connection holding the tables past busyTimeoutMs: every change and reload gives up
// with a database error instead of waiting for ever, what was loaded is still served, and
// nothing is half done once the tables are free again.
TEST_P(KeystoreTest, ADatabaseThatDoesNotAnswerGivesDatabaseErrorAndLosesNothing) {
  zkJson::Value config = Config();
  config["busyTimeoutMs"] = 200;
  QVKeystoreDb keystore;
  ASSERT_EQ(keystore.initialize(config), KS_SUCCESS);
  ASSERT_EQ(keystore.createKey("k"), KS_SUCCESS);
  SecureBlock before;
  SecureBlock during;
  QVKeyControlData ctl;
  ASSERT_EQ(keystore.getKey("k", before, ctl, 0), KS_SUCCESS);
  std::vector<QVKeyListEntry> keys;
  {
    const auto held = Connect();
    const bool sqlite = GetParam() == Backend::kSqlite;
    ASSERT_EQ(held->Execute(sqlite ? "BEGIN EXCLUSIVE" : "BEGIN", {}, nullptr), DbStatus::kOk);
    const std::string lock = "LOCK TABLE qvks_keys, qvks_meta IN ACCESS EXCLUSIVE MODE";
    ASSERT_EQ(sqlite ? DbStatus::kOk : held->Execute(lock, {}, nullptr), DbStatus::kOk);
    QVKeystoreDb late;
    EXPECT_EQ((std::vector<std::int32_t>{keystore.reKey("k"), keystore.createKey("other"), keystore.destroyKey("k", 1),
                                         keystore.retireKey("k", 1), keystore.refreshKeys(false),
                                         keystore.listKeys(false, keys), late.initialize(config)}),
              std::vector<std::int32_t>(7, KS_ERR_DATABASE));
    ASSERT_EQ(keystore.getKey("k", during, ctl, 0), KS_SUCCESS);
    EXPECT_EQ(during, before);
  }
  if (GetParam() == Backend::kPostgres) {
    // The server ends the keystore's session: the keystore connects again by itself.
    Sql("SELECT pg_terminate_backend(pid, 10000) FROM pg_stat_activity WHERE datname = current_database() AND "
        "pid <> pg_backend_pid()");
    (void)keystore.refreshKeys(false);
  }
  ASSERT_EQ(keystore.listKeys(true, keys), KS_SUCCESS);
  EXPECT_EQ(keys, (std::vector<QVKeyListEntry>{{"k", 1}}));
  ASSERT_EQ(keystore.reKey("k"), KS_SUCCESS);
  ASSERT_EQ(keystore.getKey("k", during, ctl, 1), KS_SUCCESS);
  EXPECT_EQ(during, before);
}

// Keystores rotating one key at once from the same loaded version: exactly one makes version 2.
TEST_P(KeystoreTest, KeystoresRotatingAtOnceMakeExactlyOneNewVersion) {
  ASSERT_EQ(Open()->createKey("k"), KS_SUCCESS);
  std::vector<std::unique_ptr<QVKeystoreDb>> keystores;
  std::generate_n(std::back_inserter(keystores), 4, [this] { return Open(); });
  std::vector<std::int32_t> codes(keystores.size());
  {
    std::vector<std::jthread> threads;
    for (std::size_t index = 0; index < keystores.size(); ++index) {
      threads.emplace_back([&, index] { codes[index] = keystores[index]->reKey("k"); });
    }
  }
  std::sort(codes.begin(), codes.end());
  EXPECT_EQ(codes, (std::vector<std::int32_t>{KS_SUCCESS, KS_ERR_KEY_VERSION_EXISTS, KS_ERR_KEY_VERSION_EXISTS,
                                              KS_ERR_KEY_VERSION_EXISTS}));
  EXPECT_EQ(Sql("SELECT count(*) FROM qvks_keys"), "2");
  // Each loser sees the winner's version once it reloads the key set.
  SecureBlock winner;
  SecureBlock seen;
  QVKeyControlData ctl;
  ASSERT_EQ(Open()->getKey("k", winner, ctl, 0), KS_SUCCESS);
  for (const auto& keystore : keystores) {
    ASSERT_EQ(keystore->refreshKeys(false), KS_SUCCESS);
    ASSERT_EQ(keystore->getKey("k", seen, ctl, 0), KS_SUCCESS);
    EXPECT_EQ(std::tie(ctl.version, seen), std::make_tuple(2, winner));
  }
}

INSTANTIATE_TEST_SUITE_P(Backends, KeystoreTest, testing::Values(Backend::kSqlite, Backend::kPostgres),
                         [](const auto& backend) {
                           return backend.param == Backend::kSqlite ? "SQLite" : "PostgreSQL";
                         });

}  // namespace
}  // namespace keystoredbtest
