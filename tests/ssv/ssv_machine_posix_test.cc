// What generateSSV and the loader make of a POSIX machine that others could have tampered with
// (a link at the staging path, a machine root open to others), and of a store whose write
// fails: the store keeps the whole old record and the failure is reported as access denied (14)
// or as "other" (13).

#include <qvcryptoservice/ssv_crypto.h>

#include "ssv/record.h"
#include "ssv/record_layout.h"
#include "tests/platform/failing_file_system.h"
#include "tests/platform/machine_root_fixture.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <vector>

namespace QVCryptoService {
namespace {

namespace fs = std::filesystem;
using testsupport::ReadBytes;
using testsupport::WriteBytes;

const std::vector<std::uint8_t> kPlanted(kSsvRecordSize, 'p');

struct StagingCase {
  const char* name;
  // Puts something at the staging path in `directory`.
  void (*place)(const fs::path& directory);
  EQVKeystoreCode expected;
};

// Whose file may stand at the staging path is the private file's own rule; this is the path to it.
TEST(SsvStaging, ClearsAStaleFileOfOursAndRefusesALink) {
  const StagingCase cases[] = {
      {"stale file of ours", [](const fs::path& d) { WriteBytes(d / "stableSystemValues", kPlanted); }, KS_SUCCESS},
      {"link to a file",
       [](const fs::path& d) {
         WriteBytes(d / "planted", kPlanted);
         fs::create_symlink(d / "planted", d / "stableSystemValues");
       },
       KS_ERR_SSV_NOT_INITIALIZED},
  };
  for (const StagingCase& c : cases) {
    SCOPED_TRACE(c.name);
    const testsupport::TempMachineRoot root;
    const fs::path staging = root.path() / "staging";
    fs::create_directory(staging);
    c.place(staging);
    EXPECT_EQ(QVSSVCrypto::generateSSV(staging.string(), true), c.expected);
    const std::vector<std::uint8_t> stored = root.ReadValue("SOFTWARE\\Classes\\SSV", "SSV_Data");
    if (c.expected == KS_SUCCESS) {
      EXPECT_FALSE(fs::exists(fs::symlink_status(staging / "stableSystemValues")));
      EXPECT_EQ(stored.size(), kSsvRecordSize);
      EXPECT_NE(stored, kPlanted) << "the stale file's content was stored";
    } else {
      EXPECT_TRUE(stored.empty()) << "a record passed through a file that is not ours";
      EXPECT_EQ(ReadBytes(staging / "stableSystemValues"), kPlanted) << "the refused file was changed";
    }
  }
}

TEST(SsvMachineRoot, OpenToOthersItYieldsNoRecordAndTakesNone) {
  const testsupport::TempMachineRoot root;
  const testsupport::CapturedLog log;
  SecureBlock record;
  ASSERT_TRUE(BuildSsvRecord(record));
  root.WriteValue("SOFTWARE\\Classes\\SSV", "SSV_Data", std::vector<std::uint8_t>(record.begin(), record.end()));
  WriteBytes(root.path() / "stableSystemValues", kPlanted);
  fs::permissions(root.path(), fs::perms::all);
  QVSSVCrypto engine;
  EXPECT_EQ(engine.getComponentId(), "");
  EXPECT_EQ(QVSSVCrypto::generateSSV(root.string(), false), KS_ERR_NO_SSV_PERMISSION);
  EXPECT_EQ(QVSSVCrypto::generateSSV(root.string(), true), KS_ERR_NO_SSV_PERMISSION);
  EXPECT_EQ(ReadBytes(root.path() / "stableSystemValues"), kPlanted);
  // Closed again, the staging file, which wins over the stored record, is read.
  fs::permissions(root.path(), fs::perms::owner_all | fs::perms::group_read | fs::perms::others_read);
  EXPECT_EQ(engine.getComponentId(), std::string(kComponentIdSize, 'p'));
}

// The store's own table maps every step's failure; this is the path from generateSSV to it.
TEST(StoreFaultMatrix, AFailedReplacementKeepsTheWholeOldRecordAndReportsTheCode) {
  using testsupport::StoreStep;
  const struct {
    StoreStep step;
    int error;
    EQVKeystoreCode expected;
  } cases[] = {{StoreStep::kRename, EACCES, KS_ERR_NO_SSV_PERMISSION}, {StoreStep::kWrite, EIO, KS_ERR_RESERVED_13}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.error);
    const testsupport::TempMachineRoot root;
    ASSERT_EQ(QVSSVCrypto::generateSSV(root.string(), true), KS_SUCCESS);
    const std::vector<std::uint8_t> before = root.ReadValue("SOFTWARE\\Classes\\SSV", "SSV_Data");
    {
      testsupport::FailingFileSystem failing(c.step, c.error);
      const testsupport::InstalledFileSystem installed(failing);
      EXPECT_EQ(QVSSVCrypto::generateSSV(root.string(), true), c.expected);
    }
    EXPECT_EQ(root.ReadValue("SOFTWARE\\Classes\\SSV", "SSV_Data"), before);
    EXPECT_FALSE(fs::exists(root.path() / "stableSystemValues")) << "the staging file was left behind";
    QVSSVCrypto engine;
    std::vector<std::string> secrets;
    EXPECT_EQ(engine.recoverSSV(secrets), KS_SUCCESS);
    EXPECT_EQ(engine.getComponentId(), std::string(before.begin(), before.begin() + kComponentIdSize));
  }
}

}  // namespace
}  // namespace QVCryptoService
