// What the keystore does with damaged rows, the wrong master key and a bad configuration.

#include "tests/keystore_db/keystore_db_fixture.h"

#include <qvcryptoservice/encryption_functions.h>
#include <qvcryptoservice/qvpax.h>
#include <qvcryptoservice/ssv_crypto.h>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <iostream>

namespace keystoredbtest {
namespace {

using namespace QVCryptoService;

using IntegrityTest = KeystoreDbTest;

TEST_P(IntegrityTest, EveryChangedByteOfAWrappedKeyGivesCorrupted) {
  auto keystore = Open();
  ASSERT_EQ(keystore->createKey("k"), KS_SUCCESS);
  const std::string original = Wrapped("k", 1);
  ASSERT_EQ(original.size(), 61u);
  SecureBlock key = {1, 2, 3};
  QVKeyControlData ctl;
  for (std::size_t position = 0; position < original.size(); ++position) {
    std::string changed = original;
    changed[position] = static_cast<char>(changed[position] ^ 0x01);
    SetWrapped("k", 1, changed);
    ASSERT_EQ(keystore->refreshKeys(false), KS_SUCCESS);
    ASSERT_EQ(keystore->getKey("k", key, ctl, 1), KS_ERR_CORRUPTED) << "byte " << position;
  }
  for (std::size_t length : {0, 1, 13, 60, 62}) {
    std::string resized = original;
    resized.resize(length, '\0');
    SetWrapped("k", 1, resized);
    ASSERT_EQ(keystore->refreshKeys(false), KS_SUCCESS);
    ASSERT_EQ(keystore->getKey("k", key, ctl, 1), KS_ERR_CORRUPTED) << "length " << length;
  }
  EXPECT_EQ(key, (SecureBlock{1, 2, 3}));
  SetWrapped("k", 1, original);
  ASSERT_EQ(keystore->refreshKeys(false), KS_SUCCESS);
  EXPECT_EQ(keystore->getKey("k", key, ctl, 1), KS_SUCCESS);
}

TEST_P(IntegrityTest, ARowMovedOrRelabelledDoesNotOpen) {
  auto keystore = Open();
  ASSERT_EQ(keystore->createKey("a"), KS_SUCCESS);
  ASSERT_EQ(keystore->createKey("b"), KS_SUCCESS);
  ASSERT_EQ(keystore->reKey("b"), KS_SUCCESS);
  SecureBlock key;
  QVKeyControlData ctl;
  // b's material under a's name.
  SetWrapped("a", 1, Wrapped("b", 1));
  // b's version 1 material as its version 2.
  SetWrapped("b", 2, Wrapped("b", 1));
  ASSERT_EQ(keystore->refreshKeys(false), KS_SUCCESS);
  EXPECT_EQ(keystore->getKey("a", key, ctl, 1), KS_ERR_CORRUPTED);
  EXPECT_EQ(keystore->getKey("b", key, ctl, 2), KS_ERR_CORRUPTED);
  EXPECT_EQ(keystore->getKey("b", key, ctl, 0), KS_ERR_CORRUPTED);
  EXPECT_EQ(keystore->getKey("b", key, ctl, 1), KS_SUCCESS);
}

// Edits of the key set by someone who can write the database but has no master key. Each starts
// from "k" with version 1 deactivated and version 2 active, loaded by `live`. The keystore that
// loaded the set before refuses to reload it and goes on serving what it had; a keystore opened
// afterwards refuses it at initialize or, for material from another keystore, at getKey.
TEST_P(IntegrityTest, EditsOfTheKeySetGiveCorrupted) {
  struct Case {
    const char* what;
    std::function<void(QVKeystoreDb& live)> edit;
    // False where a keystore opened afterwards cannot tell: a whole older key set put back.
    bool newKeystoreSees = true;
  };
  const std::string row = "name = 'k' AND version = ";
  const std::vector<Case> cases = {
      {"a deactivated version made active again",
       [&](QVKeystoreDb&) { Sql("UPDATE qvks_keys SET state = 2 WHERE " + row + "1"); }},
      {"the newest version deleted", [&](QVKeystoreDb&) { Sql("DELETE FROM qvks_keys WHERE " + row + "2"); }},
      {"a version's algorithm changed",
       [&](QVKeystoreDb&) { Sql("UPDATE qvks_keys SET algorithm = 'aes-256-ecb' WHERE " + row + "1"); }},
      {"a destroyed version restored from an earlier copy",
       [&](QVKeystoreDb& live) {
         const std::string earlier = Wrapped("k", 1);
         ASSERT_EQ(live.destroyKey("k", 1), KS_SUCCESS);
         Sql("UPDATE qvks_keys SET state = 3 WHERE " + row + "1");
         SetWrapped("k", 1, earlier);
       }},
      {"the generation lowered",
       [&](QVKeystoreDb&) {
         std::string summary = StoredMeta("key-set");
         ASSERT_EQ(summary.size(), 41u);
         ASSERT_EQ(summary[8], 2) << "create and rotate make generations 1 and 2 after the empty set's 0";
         summary[8] = 1;
         SetStoredMeta("key-set", summary);
       }},
      {"the summary's tag changed",
       [&](QVKeystoreDb&) {
         std::string summary = StoredMeta("key-set");
         summary.back() = static_cast<char>(summary.back() ^ 0x01);
         SetStoredMeta("key-set", summary);
       }},
      {"the summary deleted", [&](QVKeystoreDb&) { Sql("DELETE FROM qvks_meta WHERE item = 'key-set'"); }},
      {"the keystore id changed", [&](QVKeystoreDb&) { SetStoredMeta("keystore-id", std::string(16, '\x5a')); }},
      {"an earlier key set put back whole, summary and all",
       [&](QVKeystoreDb& live) {
         const std::string summary = StoredMeta("key-set");
         ASSERT_EQ(live.reKey("k"), KS_SUCCESS);
         Sql("DELETE FROM qvks_keys WHERE " + row + "3");
         Sql("UPDATE qvks_keys SET state = 2, deactivated_at = 0 WHERE " + row + "2");
         SetStoredMeta("key-set", summary);
       },
       false},
      {"the key set replaced by another keystore's under the same master key, one key's material copied",
       [&](QVKeystoreDb&) {
         const std::string copied = Wrapped("k", 2);
         Sql("DELETE FROM qvks_keys");
         Sql("DELETE FROM qvks_meta");
         auto other = Open();
         ASSERT_EQ(other->createKey("k"), KS_SUCCESS);
         ASSERT_EQ(other->reKey("k"), KS_SUCCESS);
         SetWrapped("k", 2, copied);
       }},
  };
  (void)Open();  // the tables, emptied for every case
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Sql("DELETE FROM qvks_keys");
    Sql("DELETE FROM qvks_meta");
    auto live = Open();
    ASSERT_EQ(live->createKey("k"), KS_SUCCESS);
    ASSERT_EQ(live->reKey("k"), KS_SUCCESS);
    c.edit(*live);
    SecureBlock before;
    QVKeyControlData beforeCtl;
    ASSERT_EQ(live->getKey("k", before, beforeCtl, 0), KS_SUCCESS);
    EXPECT_EQ(live->refreshKeys(false), KS_ERR_CORRUPTED);
    EXPECT_EQ(live->re_sync(), KS_ERR_CORRUPTED);
    SecureBlock after;
    QVKeyControlData afterCtl;
    EXPECT_EQ(live->getKey("k", after, afterCtl, 0), KS_SUCCESS);
    EXPECT_EQ(afterCtl.version, beforeCtl.version);
    EXPECT_EQ(after, before);
    if (c.newKeystoreSees) {
      QVKeystoreDb opened;
      std::int32_t code = opened.initialize(Config());
      if (code == KS_SUCCESS) {
        code = opened.getKey("k", after, afterCtl, 0);
      }
      EXPECT_EQ(code, KS_ERR_CORRUPTED);
    }
  }
}

TEST_P(IntegrityTest, TamperedKeyReachesTheEngineAsCorruptedKeystoreData) {
  auto keystore = Open();
  ASSERT_EQ(keystore->createKey("QV_ENCYPT_DECRYPT_0"), KS_SUCCESS);
  std::shared_ptr<QVKeystoreDb> shared(std::move(keystore));
  ASSERT_TRUE(SetKeystore("ZKSystem", shared));
  std::string text;
  ASSERT_EQ(EncryptData(std::string("x"), text, "ZKSystem"), PXA_OK);
  std::string changed = Wrapped("QV_ENCYPT_DECRYPT_0", 1);
  changed[20] = static_cast<char>(changed[20] ^ 0x80);
  SetWrapped("QV_ENCYPT_DECRYPT_0", 1, changed);
  ASSERT_EQ(shared->refreshKeys(false), KS_SUCCESS);
  SecureBlock plain;
  const PxaResult result = DecryptData(text, plain, "ZKSystem");
  EXPECT_EQ(result, (PxaResult{1} << 32) | KS_ERR_CORRUPTED);
  EXPECT_EQ(PxaErrorReason(result), "Corrupted keystore data");
  EXPECT_TRUE(plain.empty());
  (void)SetKeystore("ZKSystem", std::make_shared<QVKeystoreDb>());
}

TEST_P(IntegrityTest, AWrongMasterKeyIsRefusedAtInitialize) {
  {
    auto keystore = Open();
    ASSERT_EQ(keystore->createKey("k"), KS_SUCCESS);
  }
  const HostKey other = WriteKeyFile("other.hex");
  QVKeystoreDb wrongHost;
  EXPECT_EQ(wrongHost.initialize(ConfigWithKeyFile(other.file)), KS_ERR_CORRUPTED);
  // Made with a host key, opened with the SSV.
  QVKeystoreDb wrongSource;
  EXPECT_EQ(wrongSource.initialize(Config("ssv")), KS_ERR_CORRUPTED);
  // The right key still opens it, and nothing was added by the failed attempts.
  auto keystore = Open();
  std::vector<QVKeyListEntry> keys;
  ASSERT_EQ(keystore->listKeys(true, keys), KS_SUCCESS);
  EXPECT_EQ(keys, (std::vector<QVKeyListEntry>{{"k", 1}}));
  EXPECT_EQ(Sql("SELECT count(*) FROM qvks_meta")[0][0], "3");
  EXPECT_EQ(keystore->re_sync(), KS_SUCCESS);
  // A database of the earlier format, without keystore id and summary, is refused, not misread.
  Sql("DELETE FROM qvks_meta WHERE item IN ('keystore-id', 'key-set')");
  QVKeystoreDb older;
  EXPECT_EQ(older.initialize(Config()), KS_ERR_NOT_SUPPORTED);
  // The check value gone from the database: re_sync notices.
  Sql("DELETE FROM qvks_meta");
  EXPECT_EQ(keystore->re_sync(), KS_ERR_CORRUPTED);
}

TEST_P(IntegrityTest, AMasterKeyMadeAndReadThroughTheEnvironment) {
  std::string hex;
  for (const std::uint8_t byte : hostKey_.bytes) {
    static const char* digits = "0123456789ABCDEF";  // upper case is accepted too
    hex.push_back(digits[byte >> 4]);
    hex.push_back(digits[byte & 15]);
  }
  ::setenv("QVKS_TEST_MASTER", hex.c_str(), 1);
  zkJson::Value config = Config("host");
  config["masterKey"].removeMember("file");
  config["masterKey"]["env"] = "QVKS_TEST_MASTER";
  QVKeystoreDb viaEnvironment;
  ASSERT_EQ(viaEnvironment.initialize(config), KS_SUCCESS);
  ASSERT_EQ(viaEnvironment.createKey("k"), KS_SUCCESS);
  // The file holds the same key in lower case: the same keystore opens.
  auto viaFile = Open();
  SecureBlock a;
  SecureBlock b;
  QVKeyControlData ctl;
  ASSERT_EQ(viaEnvironment.getKey("k", a, ctl, 1), KS_SUCCESS);
  ASSERT_EQ(viaFile->getKey("k", b, ctl, 1), KS_SUCCESS);
  EXPECT_EQ(a, b);
  ::unsetenv("QVKS_TEST_MASTER");
}

TEST_P(IntegrityTest, BadConfigurationsGiveInvalidParametersAndCreateNothing) {
  const std::string keyFile = hostKey_.file.string();
  const std::string shortKey = (root_->path() / "short.hex").string();
  const std::string badDigit = (root_->path() / "baddigit.hex").string();
  std::ofstream(shortKey) << std::string(62, 'a') << "\n";
  std::ofstream(badDigit) << std::string(63, 'a') << "g\n";
  ::setenv("QVKS_TEST_SHORT", "abcd", 1);
  ::unsetenv("QVKS_TEST_UNSET");
  const zkJson::Value good = Config("host");
  struct Case {
    const char* what;
    std::function<void(zkJson::Value&)> change;
  };
  const std::vector<Case> cases = {
      {"not an object", [](zkJson::Value& c) { c = zkJson::Value("sqlite"); }},
      {"no backend", [](zkJson::Value& c) { c.removeMember("backend"); }},
      {"unknown backend", [](zkJson::Value& c) { c["backend"] = "mysql"; }},
      {"backend not a string", [](zkJson::Value& c) { c["backend"] = 1; }},
      {"unknown member", [](zkJson::Value& c) { c["pathh"] = "x"; }},
      {"no master key", [](zkJson::Value& c) { c.removeMember("masterKey"); }},
      {"master key not an object", [](zkJson::Value& c) { c["masterKey"] = "ssv"; }},
      {"unknown source", [](zkJson::Value& c) { c["masterKey"]["source"] = "cloud"; }},
      {"host without file or env", [](zkJson::Value& c) { c["masterKey"].removeMember("file"); }},
      {"host with file and env", [](zkJson::Value& c) { c["masterKey"]["env"] = "X"; }},
      {"ssv with a file", [](zkJson::Value& c) { c["masterKey"]["source"] = "ssv"; }},
      {"unknown master key member", [](zkJson::Value& c) { c["masterKey"]["cache"] = true; }},
      {"missing key file", [&](zkJson::Value& c) { c["masterKey"]["file"] = keyFile + ".missing"; }},
      {"short key file", [&](zkJson::Value& c) { c["masterKey"]["file"] = shortKey; }},
      {"key file with a bad digit", [&](zkJson::Value& c) { c["masterKey"]["file"] = badDigit; }},
      {"unset variable",
       [](zkJson::Value& c) {
         c["masterKey"].removeMember("file");
         c["masterKey"]["env"] = "QVKS_TEST_UNSET";
       }},
      {"short variable",
       [](zkJson::Value& c) {
         c["masterKey"].removeMember("file");
         c["masterKey"]["env"] = "QVKS_TEST_SHORT";
       }},
      {"empty path or connection",
       [](zkJson::Value& c) { c[c["backend"].asString() == "sqlite" ? "path" : "connection"] = ""; }},
      {"path for postgresql or connection for sqlite",
       [](zkJson::Value& c) { c[c["backend"].asString() == "sqlite" ? "connection" : "path"] = "x"; }},
      {"busy timeout not a number", [](zkJson::Value& c) { c["busyTimeoutMs"] = "5s"; }},
      {"busy timeout negative", [](zkJson::Value& c) { c["busyTimeoutMs"] = -1; }},
  };
  for (const Case& c : cases) {
    zkJson::Value config = good;
    c.change(config);
    QVKeystoreDb keystore;
    EXPECT_EQ(keystore.initialize(config), KS_ERR_INVALID_PARAMETERS) << c.what;
  }
  ::unsetenv("QVKS_TEST_SHORT");
  if (GetParam() == Backend::kSqlite) {
    EXPECT_FALSE(std::filesystem::exists(sqlitePath_)) << "a refused configuration created the database";
  } else {
    EXPECT_TRUE(Sql("SELECT 1 FROM pg_tables WHERE tablename LIKE 'qvks%'").empty())
        << "a refused configuration created tables";
  }
}

TEST_P(IntegrityTest, AnUnreachableDatabaseGivesDatabaseErrorAtInitialize) {
  zkJson::Value config = Config("host");
  if (GetParam() == Backend::kSqlite) {
    config["path"] = (root_->path() / "no-such-directory" / "keys.db").string();
  } else {
    // A port nothing listens on: the test cluster's port range starts well above it.
    config["connection"] = "host=127.0.0.1 port=1 dbname=x user=x connect_timeout=2";
  }
  QVKeystoreDb keystore;
  EXPECT_EQ(keystore.initialize(config), KS_ERR_DATABASE);
}

INSTANTIATE_TEST_SUITE_P(Backends, IntegrityTest, testing::Values(Backend::kSqlite, Backend::kPostgres), BackendName);

// SQLite only: the embedded default lives under the machine root.
TEST(SqliteDefaults, TheDefaultDatabaseIsAPrivateFileUnderTheMachineRoot) {
  testsupport::TempMachineRoot root;
  (void)InitLibrary();
  ASSERT_EQ(QVSSVCrypto::generateSSV(root.string(), false), KS_SUCCESS);
  zkJson::Value config(zkJson::objectValue);
  config["backend"] = "sqlite";
  config["masterKey"]["source"] = "ssv";
  // The directory is private whatever the umask (the file's mode is SqliteFile's business).
  const mode_t umaskBefore = umask(0);
  QVKeystoreDb keystore;
  const std::int32_t initialized = keystore.initialize(config);
  umask(umaskBefore);
  ASSERT_EQ(initialized, KS_SUCCESS);
  ASSERT_EQ(keystore.createKey("k"), KS_SUCCESS);
  const auto path = root.path() / "keystore" / "keystore.db";
  ASSERT_TRUE(std::filesystem::exists(path));
  const auto directoryPermissions = std::filesystem::status(path.parent_path()).permissions();
  EXPECT_EQ(directoryPermissions & (std::filesystem::perms::group_all | std::filesystem::perms::others_all),
            std::filesystem::perms::none);
}

// SQLite only: the keystore opens a file of its own, private from its creation, and nothing
// another account could have placed or could write.
TEST(SqliteFile, OnlyAPrivateFileOfThisAccountIsOpened) {
  testsupport::TempMachineRoot root;
  (void)InitLibrary();
  ASSERT_EQ(QVSSVCrypto::generateSSV(root.string(), false), KS_SUCCESS);
  const auto configFor = [](const std::filesystem::path& path) {
    zkJson::Value config(zkJson::objectValue);
    config["backend"] = "sqlite";
    config["path"] = path.string();
    config["masterKey"]["source"] = "ssv";
    return config;
  };
  using std::filesystem::perms;
  const auto privateFile = [](const std::filesystem::path& path, perms mode) {
    std::ofstream(path).close();
    std::filesystem::permissions(path, mode);
  };
  const std::filesystem::path absent = root.path() / "absent.db";
  struct Case {
    const char* what;
    std::function<void(const std::filesystem::path&)> place;
  };
  std::vector<Case> cases = {
      {"group-writable",
       [&](const auto& path) { privateFile(path, perms::owner_read | perms::owner_write | perms::group_write); }},
      {"writable by others",
       [&](const auto& path) { privateFile(path, perms::owner_read | perms::owner_write | perms::others_write); }},
      {"a symbolic link to a private file",
       [&](const auto& path) {
         privateFile(root.path() / "target.db", perms::owner_read | perms::owner_write);
         std::filesystem::create_symlink(root.path() / "target.db", path);
       }},
      {"a symbolic link to nothing", [&](const auto& path) { std::filesystem::create_symlink(absent, path); }},
  };
  const passwd* nobody = getpwnam("nobody");
  if (geteuid() == 0 && nobody != nullptr) {
    cases.push_back({"owned by another user", [&](const auto& path) {
                       privateFile(path, perms::owner_read | perms::owner_write);
                       ASSERT_EQ(chown(path.c_str(), nobody->pw_uid, nobody->pw_gid), 0);
                     }});
  } else {
    std::cout << "not checked: a file of another user (needs root to give one away)\n";
  }
  int index = 0;
  for (const Case& c : cases) {
    const std::filesystem::path path = root.path() / ("case" + std::to_string(index++) + ".db");
    c.place(path);
    QVKeystoreDb keystore;
    EXPECT_EQ(keystore.initialize(configFor(path)), KS_ERR_DATABASE) << c.what;
  }
  EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(absent))) << "a link's target was created";
  // A new file is private whatever the umask.
  const mode_t umaskBefore = umask(0);
  QVKeystoreDb keystore;
  const std::int32_t created = keystore.initialize(configFor(root.path() / "new.db"));
  umask(umaskBefore);
  ASSERT_EQ(created, KS_SUCCESS);
  EXPECT_EQ(std::filesystem::status(root.path() / "new.db").permissions(), perms::owner_read | perms::owner_write);
}

}  // namespace
}  // namespace keystoredbtest
