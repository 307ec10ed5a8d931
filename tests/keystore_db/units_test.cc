// The keystore's parts below the database: reading a configuration, decoding a master key text,
// and the stored form of a wrapped key, each against a table under tests/data/.

#include "keystore_db/key_wrap.h"
#include "keystore_db/keystore_config.h"
#include "keystore_db/master_key.h"
#include "platform/private_database_file.h"
#include "tests/platform/machine_root_fixture.h"
#include "tests/support/data_table.h"

#include <qvcryptoservice/zkjson_reader.h>

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <functional>

namespace keystoredbtest {
namespace {

using namespace QVCryptoService;
using namespace QVCryptoService::keystore_db;

SecureBlock Block(const std::string& bytes) { return SecureBlock(bytes.begin(), bytes.end()); }

TEST(KeystoreConfig, EachMistakeIsRefusedWithItsReason) {
  for (const testsupport::DataRow& row : testsupport::ReadDataTable("keystore_db_configs.tsv")) {
    zkJson::Value value;
    ASSERT_TRUE(zkJson::Reader().parse(row["config"], value, false)) << row.where;
    KeystoreConfig config;
    std::string error;
    EXPECT_EQ(ParseConfig(value, config, error), row["error"].empty()) << row.where;
    EXPECT_EQ(error, row["error"]) << row.where;
  }
}

TEST(MasterKeyText, SixtyFourDigitsAndOneLineEndOnly) {
  for (const testsupport::DataRow& row : testsupport::ReadDataTable("keystore_db_master_key_texts.tsv")) {
    SecureBlock key = {7};
    const bool accepted = DecodeHexKey(Block(row["text"]), key);
    EXPECT_EQ(accepted, row["key"] != "refused") << row.where;
    EXPECT_EQ(key, accepted ? Block(row["key"]) : SecureBlock{7}) << row.where;
  }
}

TEST(KeyWrap, KnownAnswersOpenAndNothingElseDoes) {
  for (const testsupport::DataRow& row : testsupport::ReadDataTable("keystore_db_wrapped_keys.tsv")) {
    SCOPED_TRACE(row.where);
    const SecureBlock master = Block(row["master"]);
    const KeyBinding binding{row["keystore_id"], row["name"], std::stoi(row["version"]), row["algorithm"],
                             std::stoi(row["length"])};
    const std::string& wrapped = row["wrapped"];
    SecureBlock key;
    ASSERT_TRUE(UnwrapKey(master, binding, wrapped, key));
    EXPECT_EQ(key, Block(row["key"]));
    // Every byte of the stored form counts, and so do its length and every field of the row.
    for (std::size_t position = 0; position < wrapped.size(); ++position) {
      std::string changed = wrapped;
      changed[position] = static_cast<char>(changed[position] ^ 0x01);
      EXPECT_FALSE(UnwrapKey(master, binding, changed, key)) << "byte " << position;
    }
    for (const std::size_t length : {std::size_t{0}, std::size_t{13}, wrapped.size() - 1, wrapped.size() + 1}) {
      EXPECT_FALSE(UnwrapKey(master, binding, std::string(wrapped).append(1, '\0').substr(0, length), key)) << length;
    }
    const std::string otherId = row["keystore_id"] + "x";
    const std::string otherName = row["name"] + "x";
    const std::vector<KeyBinding> moved = {
        {otherId, binding.name, binding.version, binding.algorithm, binding.keyLength},
        {binding.keystoreId, otherName, binding.version, binding.algorithm, binding.keyLength},
        {binding.keystoreId, binding.name, binding.version - 1, binding.algorithm, binding.keyLength},
        {binding.keystoreId, binding.name, binding.version, "aes-256-ecb", binding.keyLength},
        {binding.keystoreId, binding.name, binding.version, binding.algorithm, binding.keyLength + 1},
    };
    for (const KeyBinding& other : moved) {
      EXPECT_FALSE(UnwrapKey(master, other, wrapped, key));
    }
    SecureBlock otherMaster = master;
    otherMaster[0] ^= 1;
    EXPECT_FALSE(UnwrapKey(otherMaster, binding, wrapped, key));
    EXPECT_EQ(key, Block(row["key"])) << "a refused unwrap wrote the key";
    // A new wrap of the same key takes a new nonce and opens to the same key.
    std::string again;
    ASSERT_TRUE(WrapKey(master, binding, key, again));
    EXPECT_EQ(again.size(), wrapped.size());
    EXPECT_NE(again.substr(1, 12), wrapped.substr(1, 12));
    SecureBlock reopened;
    ASSERT_TRUE(UnwrapKey(master, binding, again, reopened));
    EXPECT_EQ(reopened, key);
  }
}

// The database file is opened only when it is a private file of this account: never through a
// link, never one that another account owns or could write. A new one is private from the start.
TEST(PrivateDatabaseFile, OnlyAPrivateFileOfThisAccountIsAccepted) {
  testsupport::TempMachineRoot root;
  using std::filesystem::perms;
  const auto file = [](const std::filesystem::path& path, perms mode) {
    std::ofstream(path).close();
    std::filesystem::permissions(path, mode);
  };
  const perms ownerOnly = perms::owner_read | perms::owner_write;
  const std::filesystem::path absent = root.path() / "absent.db";
  std::vector<std::pair<const char*, std::function<void(const std::filesystem::path&)>>> cases = {
      {"group-writable", [&](const auto& path) { file(path, ownerOnly | perms::group_write); }},
      {"writable by others", [&](const auto& path) { file(path, ownerOnly | perms::others_write); }},
      {"a link to a private file",
       [&](const auto& path) {
         file(root.path() / "target.db", ownerOnly);
         std::filesystem::create_symlink(root.path() / "target.db", path);
       }},
      {"a link to nothing", [&](const auto& path) { std::filesystem::create_symlink(absent, path); }},
      {"a directory", [&](const auto& path) { std::filesystem::create_directory(path); }},
  };
  if (const passwd* nobody = getpwnam("nobody"); geteuid() == 0 && nobody != nullptr) {
    cases.emplace_back("owned by another user", [&, nobody](const auto& path) {
      file(path, ownerOnly);
      ASSERT_EQ(chown(path.c_str(), nobody->pw_uid, nobody->pw_gid), 0);
    });
  }
  int index = 0;
  for (const auto& [what, place] : cases) {
    const std::filesystem::path path = root.path() / ("case" + std::to_string(index++) + ".db");
    place(path);
    std::string reason;
    EXPECT_FALSE(platform::PreparePrivateDatabaseFile(path.string(), reason)) << what;
    EXPECT_NE(reason.find(path.string()), std::string::npos) << what << ": " << reason;
  }
  EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(absent))) << "a link's target was created";
  // New files and directories are private whatever the umask; an existing private file is fine.
  const mode_t umaskBefore = umask(0);
  std::string reason;
  const bool created = platform::PreparePrivateDatabaseFile((root.path() / "new.db").string(), reason);
  const bool madeDirectories = platform::MakePrivateDirectories((root.path() / "a" / "b").string());
  umask(umaskBefore);
  ASSERT_TRUE(created && madeDirectories) << reason;
  EXPECT_EQ(std::filesystem::status(root.path() / "new.db").permissions(), ownerOnly);
  EXPECT_EQ(std::filesystem::status(root.path() / "a").permissions(), perms::owner_all);
  EXPECT_EQ(std::filesystem::status(root.path() / "a" / "b").permissions(), perms::owner_all);
  EXPECT_TRUE(platform::PreparePrivateDatabaseFile((root.path() / "new.db").string(), reason)) << reason;
}

}  // namespace
}  // namespace keystoredbtest
