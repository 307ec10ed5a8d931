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
    // Every byte of the stored form counts, and so does its length (the known answer shows that
    // every field of the row does).
    for (std::size_t position = 0; position < wrapped.size(); ++position) {
      std::string changed = wrapped;
      changed[position] = static_cast<char>(changed[position] ^ 0x01);
      EXPECT_FALSE(UnwrapKey(master, binding, changed, key)) << "byte " << position;
    }
    for (const std::size_t length : {std::size_t{0}, std::size_t{13}, wrapped.size() - 1, wrapped.size() + 1}) {
      EXPECT_FALSE(UnwrapKey(master, binding, std::string(wrapped).append(1, '\0').substr(0, length), key)) << length;
    }
    SecureBlock otherMaster = master;
    otherMaster[0] ^= 1;
    EXPECT_FALSE(UnwrapKey(otherMaster, binding, wrapped, key));
    EXPECT_EQ(key, Block(row["key"])) << "a refused unwrap wrote the key";
    // A new wrap of the same key takes a new nonce and opens to the same key.
    std::string again;
    SecureBlock reopened;
    ASSERT_TRUE(WrapKey(master, binding, key, again) && UnwrapKey(master, binding, again, reopened));
    EXPECT_EQ(std::make_tuple(again.size(), reopened), std::make_tuple(wrapped.size(), key));
    EXPECT_NE(again.substr(1, 12), wrapped.substr(1, 12));
  }
}

// The database file is opened only when it is a private file of this account: never through a
// link, never one that another account owns or could write. A new one is private from the start.
TEST(PrivateDatabaseFile, OnlyAPrivateFileOfThisAccountIsAccepted) {
  testsupport::TempMachineRoot root;
  using std::filesystem::perms;
  const perms ownerOnly = perms::owner_read | perms::owner_write;
  const auto file = [&](const std::string& name, perms mode) {
    std::ofstream(root.path() / name).close();
    std::filesystem::permissions(root.path() / name, mode);
    return root.path() / name;
  };
  const std::filesystem::path absent = root.path() / "absent.db";
  std::vector<std::filesystem::path> refused = {
      file("group.db", ownerOnly | perms::group_write), file("others.db", ownerOnly | perms::others_write),
      root.path() / "link.db", root.path() / "dangling.db", root.path() / "directory.db"};
  std::filesystem::create_symlink(file("private.db", ownerOnly), root.path() / "link.db");
  std::filesystem::create_symlink(absent, root.path() / "dangling.db");
  std::filesystem::create_directory(root.path() / "directory.db");
  if (const passwd* nobody = getpwnam("nobody"); geteuid() == 0 && nobody != nullptr) {
    refused.push_back(file("foreign.db", ownerOnly));
    ASSERT_EQ(chown(refused.back().c_str(), nobody->pw_uid, nobody->pw_gid), 0);
  }
  for (const std::filesystem::path& path : refused) {
    std::string reason;
    EXPECT_FALSE(platform::PreparePrivateDatabaseFile(path.string(), reason)) << path;
    EXPECT_NE(reason.find(path.string()), std::string::npos) << reason;
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
