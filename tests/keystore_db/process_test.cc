// Several processes on one keystore: a rotation seen by another process, rotations racing, and
// the database going away under a running keystore.

#include "tests/keystore_db/keystore_db_fixture.h"

#include <qvcryptoservice/cipher_meta.h>
#include <qvcryptoservice/encryption_functions.h>
#include <qvcryptoservice/qvpax.h>

#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <functional>

namespace keystoredbtest {
namespace {

using namespace QVCryptoService;

constexpr const char* kEncryptionKey = "QV_ENCYPT_DECRYPT_0";

std::int32_t CipherKeyVersion(const std::string& text) {
  CipherMeta_t meta;
  std::vector<std::uint8_t> bytes;
  EXPECT_TRUE(DeserialzeCipherData(text, meta, bytes));
  return meta.keyVersion;
}

// Child runs `body` in a forked process, which leaves through _exit with the body's result: no
// destructor of the parent's objects (its database connections among them) runs there.
pid_t Child(const std::function<int()>& body) {
  const pid_t pid = fork();
  if (pid == 0) {
    int code = 99;
    try {
      code = body();
    } catch (...) {
    }
    _exit(code);
  }
  EXPECT_GT(pid, 0);
  return pid;
}

int ExitCode(pid_t pid) {
  int status = 0;
  if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status)) {
    return -1;
  }
  return WEXITSTATUS(status);
}

bool WriteAll(int descriptor, const std::string& text) {
  return write(descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

std::string ReadAll(int descriptor) {
  std::string text;
  char buffer[4096];
  ssize_t got = 0;
  while ((got = read(descriptor, buffer, sizeof buffer)) > 0) {
    text.append(buffer, static_cast<std::size_t>(got));
  }
  return text;
}

using ProcessTest = KeystoreDbTest;

TEST_P(ProcessTest, ASecondProcessSeesARotationAfterRefresh) {
  auto keystore = Open();
  ASSERT_EQ(keystore->createKey(kEncryptionKey), KS_SUCCESS);
  std::shared_ptr<QVKeystoreDb> shared(std::move(keystore));
  ASSERT_TRUE(SetKeystore("ZKSystem", shared));
  std::string textV1;
  ASSERT_EQ(EncryptData(std::string("before"), textV1, "ZKSystem"), PXA_OK);

  // The other process rotates and encrypts with its new version.
  const auto rotateAndEncrypt = [this](const std::string& plain) {
    int channel[2];
    EXPECT_EQ(pipe(channel), 0);
    const pid_t pid = Child([&] {
      close(channel[0]);
      auto other = std::make_shared<QVKeystoreDb>();
      if (other->initialize(Config()) != KS_SUCCESS || other->reKey(kEncryptionKey) != KS_SUCCESS) {
        return 1;
      }
      (void)SetKeystore("ZKSystem", other);
      std::string text;
      return EncryptData(plain, text, "ZKSystem") == PXA_OK && WriteAll(channel[1], text) ? 0 : 2;
    });
    close(channel[1]);
    std::string text = ReadAll(channel[0]);
    close(channel[0]);
    EXPECT_EQ(ExitCode(pid), 0);
    return text;
  };
  const std::string textV2 = rotateAndEncrypt("after");
  ASSERT_EQ(CipherKeyVersion(textV2), 2);

  // Until it refreshes, this process goes on encrypting with the version it loaded.
  SecureBlock key;
  QVKeyControlData ctl;
  ASSERT_EQ(shared->getKey(kEncryptionKey, key, ctl, 0), KS_SUCCESS);
  EXPECT_EQ(ctl.version, 1);
  ASSERT_EQ(shared->refreshKeys(false), KS_SUCCESS);
  ASSERT_EQ(shared->getKey(kEncryptionKey, key, ctl, 0), KS_SUCCESS);
  EXPECT_EQ(ctl.version, 2);
  EXPECT_EQ(ctl.state, 2);
  ASSERT_EQ(shared->getKey(kEncryptionKey, key, ctl, 1), KS_SUCCESS);
  EXPECT_EQ(ctl.state, 3);
  std::string text;
  ASSERT_EQ(EncryptData(std::string("now"), text, "ZKSystem"), PXA_OK);
  EXPECT_EQ(CipherKeyVersion(text), 2);

  // A text under a version this process has never loaded: the engine's own refresh finds it.
  const std::string textV3 = rotateAndEncrypt("later");
  ASSERT_EQ(CipherKeyVersion(textV3), 3);
  SecureBlock plain;
  ASSERT_EQ(DecryptData(textV3, plain, "ZKSystem"), PXA_OK);
  EXPECT_EQ(std::string(plain.begin(), plain.end()), "later");
  ASSERT_EQ(DecryptData(textV1, plain, "ZKSystem"), PXA_OK);
  EXPECT_EQ(std::string(plain.begin(), plain.end()), "before");
  (void)SetKeystore("ZKSystem", std::make_shared<QVKeystoreDb>());
}

TEST_P(ProcessTest, ProcessesRotatingAtOnceMakeExactlyOneNewVersion) {
  constexpr int kProcesses = 4;
  constexpr int kRounds = 3;
  auto keystore = Open();
  ASSERT_EQ(keystore->createKey("shared"), KS_SUCCESS);
  for (int round = 1; round <= kRounds; ++round) {
    int ready[2];
    int go[2];
    ASSERT_EQ(pipe(ready), 0);
    ASSERT_EQ(pipe(go), 0);
    std::vector<pid_t> children;
    for (int index = 0; index < kProcesses; ++index) {
      children.push_back(Child([&] {
        close(ready[0]);
        close(go[1]);
        QVKeystoreDb mine;
        // Every process loads the same newest version before any of them rotates.
        if (mine.initialize(Config()) != KS_SUCCESS) {
          return 90;
        }
        char byte = 'r';
        if (write(ready[1], &byte, 1) != 1) {
          return 91;
        }
        (void)read(go[0], &byte, 1);  // returns at end of file, when the parent lets go
        return mine.reKey("shared");
      }));
    }
    close(ready[1]);
    close(go[0]);
    // Exactly one byte per child: the children keep their end open until they are let go.
    int readyCount = 0;
    char byte = 0;
    while (readyCount < kProcesses && read(ready[0], &byte, 1) == 1) {
      ++readyCount;
    }
    EXPECT_EQ(readyCount, kProcesses) << "round " << round;
    close(ready[0]);
    close(go[1]);
    int winners = 0;
    int losers = 0;
    for (const pid_t pid : children) {
      const int code = ExitCode(pid);
      winners += code == KS_SUCCESS ? 1 : 0;
      losers += code == KS_ERR_KEY_VERSION_EXISTS ? 1 : 0;
      EXPECT_TRUE(code == KS_SUCCESS || code == KS_ERR_KEY_VERSION_EXISTS) << "round " << round << ": " << code;
    }
    EXPECT_EQ(winners, 1) << "round " << round;
    EXPECT_EQ(losers, kProcesses - 1) << "round " << round;
    EXPECT_EQ(Sql("SELECT count(*), max(version) FROM qvks_keys WHERE name = 'shared'")[0],
              (std::vector<std::optional<std::string>>{std::to_string(round + 1), std::to_string(round + 1)}));
    EXPECT_EQ(Sql("SELECT version FROM qvks_keys WHERE name = 'shared' AND state = 2")[0][0],
              std::to_string(round + 1));
  }
}

// UnavailableDatabase makes the test's database refuse service for its lifetime: SQLite by
// another connection holding an exclusive lock, PostgreSQL by stopping a cluster of the test's
// own (the keystore must then be opened on `connection`).
class UnavailableDatabase {
 public:
  virtual ~UnavailableDatabase() = default;
  virtual void Begin() = 0;
  virtual void End() = 0;
};

class LockedSqlite : public UnavailableDatabase {
 public:
  explicit LockedSqlite(std::filesystem::path path) : path_(std::move(path)) {}
  ~LockedSqlite() override { End(); }
  void Begin() override {
    ASSERT_EQ(sqlite3_open(path_.c_str(), &db_), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(db_, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
  }
  void End() override {
    if (db_ != nullptr) {
      (void)sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
      sqlite3_close_v2(db_);
      db_ = nullptr;
    }
  }

 private:
  std::filesystem::path path_;
  sqlite3* db_ = nullptr;
};

class OwnPostgresCluster : public UnavailableDatabase {
 public:
  explicit OwnPostgresCluster(std::filesystem::path state) : state_(std::move(state)) {
    const char* script = std::getenv("QVKS_PG_CLUSTER_SCRIPT");
    EXPECT_NE(script, nullptr) << "QVKS_PG_CLUSTER_SCRIPT is not set";
    script_ = script != nullptr ? script : "false";
    EXPECT_EQ(Run("start"), 0) << "cannot start a PostgreSQL cluster of the test's own";
    std::ifstream in(state_ / "conninfo");
    std::getline(in, connection);
  }
  ~OwnPostgresCluster() override { (void)Run("stop"); }
  void Begin() override { ASSERT_EQ(Run("halt"), 0); }
  void End() override { ASSERT_EQ(Run("resume"), 0); }

  std::string connection;

 private:
  int Run(const std::string& action) const {
    const std::string command = script_ + " " + action + " '" + state_.string() + "' >/dev/null";
    return std::system(command.c_str());
  }
  std::string script_;
  std::filesystem::path state_;
};

TEST_P(ProcessTest, ADatabaseThatIsDownGivesDatabaseErrorAndLosesNothing) {
  zkJson::Value config = Config();
  std::unique_ptr<UnavailableDatabase> outage;
  if (GetParam() == Backend::kSqlite) {
    config["busyTimeoutMs"] = 200;
    outage = std::make_unique<LockedSqlite>(sqlitePath_);
  } else {
    auto cluster = std::make_unique<OwnPostgresCluster>(root_->path() / "pg-state");
    ASSERT_FALSE(cluster->connection.empty());
    config["connection"] = cluster->connection;
    outage = std::move(cluster);
  }
  QVKeystoreDb keystore;
  ASSERT_EQ(keystore.initialize(config), KS_SUCCESS);
  ASSERT_EQ(keystore.createKey("k"), KS_SUCCESS);
  SecureBlock before;
  QVKeyControlData ctl;
  ASSERT_EQ(keystore.getKey("k", before, ctl, 0), KS_SUCCESS);

  outage->Begin();
  EXPECT_EQ(keystore.reKey("k"), KS_ERR_DATABASE);
  EXPECT_EQ(keystore.createKey("other"), KS_ERR_DATABASE);
  EXPECT_EQ(keystore.destroyKey("k", 1), KS_ERR_DATABASE);
  EXPECT_EQ(keystore.retireKey("k", 1), KS_ERR_DATABASE);
  EXPECT_EQ(keystore.refreshKeys(false), KS_ERR_DATABASE);
  std::vector<QVKeyListEntry> keys;
  EXPECT_EQ(keystore.listKeys(false, keys), KS_ERR_DATABASE);
  QVKeystoreDb late;
  EXPECT_EQ(late.initialize(config), KS_ERR_DATABASE);
  // What was loaded is still served.
  SecureBlock during;
  ASSERT_EQ(keystore.getKey("k", during, ctl, 0), KS_SUCCESS);
  EXPECT_EQ(during, before);
  EXPECT_EQ(ctl.version, 1);
  outage->End();

  // Back again: nothing was half done, and the next rotation makes exactly version 2.
  ASSERT_EQ(keystore.listKeys(true, keys), KS_SUCCESS);
  EXPECT_EQ(keys, (std::vector<QVKeyListEntry>{{"k", 1}}));
  ASSERT_EQ(keystore.reKey("k"), KS_SUCCESS);
  ASSERT_EQ(keystore.getKey("k", during, ctl, 1), KS_SUCCESS);
  EXPECT_EQ(during, before);
  keys.clear();
  ASSERT_EQ(keystore.listKeys(true, keys), KS_SUCCESS);
  EXPECT_EQ(keys, (std::vector<QVKeyListEntry>{{"k", 1}, {"k", 2}}));
}

// Another writer holding the key's rows: the change waits for busyTimeoutMs, then gives up
// with a database error instead of hanging, and goes through once the lock is gone.
TEST_P(ProcessTest, AChangeGivesUpOnALockHeldPastTheTimeout) {
  zkJson::Value config = Config();
  config["busyTimeoutMs"] = 300;
  QVKeystoreDb keystore;
  ASSERT_EQ(keystore.initialize(config), KS_SUCCESS);
  ASSERT_EQ(keystore.createKey("k"), KS_SUCCESS);
  int holding[2];
  int release[2];
  ASSERT_EQ(pipe(holding), 0);
  ASSERT_EQ(pipe(release), 0);
  const pid_t holder = Child([&] {
    close(holding[0]);
    close(release[1]);
    std::string lockStatement = GetParam() == Backend::kSqlite
                                    ? "BEGIN EXCLUSIVE"
                                    : "BEGIN; SELECT * FROM qvks_keys WHERE name = 'k' FOR UPDATE";
    const bool locked = LockAndWait(lockStatement, holding[1], release[0]);
    return locked ? 0 : 1;
  });
  close(holding[1]);
  close(release[0]);
  char byte = 0;
  ASSERT_EQ(read(holding[0], &byte, 1), 1) << "the lock holder did not start";
  EXPECT_EQ(keystore.reKey("k"), KS_ERR_DATABASE);
  close(release[1]);
  EXPECT_EQ(ExitCode(holder), 0);
  close(holding[0]);
  EXPECT_EQ(keystore.reKey("k"), KS_SUCCESS);
  EXPECT_EQ(Sql("SELECT count(*) FROM qvks_keys")[0][0], "2");
}

INSTANTIATE_TEST_SUITE_P(Backends, ProcessTest, testing::Values(Backend::kSqlite, Backend::kPostgres), BackendName);

}  // namespace
}  // namespace keystoredbtest
