// What generateSSV and the loader make of a machine that others could have tampered with: a
// staging file that is not ours, and a machine root open to others. POSIX only: file owners and
// modes are what is at stake.

#include <qvcryptoservice/ssv_crypto.h>

#include "ssv/record.h"
#include "ssv/record_layout.h"
#include "tests/platform/machine_root_fixture.h"

#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

namespace QVCryptoService {
namespace {

namespace fs = std::filesystem;
using testsupport::ReadBytes;
using testsupport::WriteBytes;

const std::vector<std::uint8_t> kPlanted(kSsvRecordSize, 'p');

std::vector<std::uint8_t> NewRecord() {
  SecureBlock record;
  EXPECT_TRUE(BuildSsvRecord(record));
  return std::vector<std::uint8_t>(record.begin(), record.end());
}

struct StagingCase {
  const char* name;
  // Puts something at the staging path in `directory`.
  void (*place)(const fs::path& directory);
  EQVKeystoreCode expected;
  bool needsRoot;
};

TEST(SsvStaging, ClearsAStaleFileOfOursAndRefusesAnyoneElses) {
  const StagingCase cases[] = {
      {"stale file of ours", [](const fs::path& d) { WriteBytes(d / "stableSystemValues", kPlanted); }, KS_SUCCESS,
       false},
      {"another account's file",
       [](const fs::path& d) {
         WriteBytes(d / "stableSystemValues", kPlanted);
         ASSERT_EQ(::chown((d / "stableSystemValues").c_str(), 65534, 65534), 0);
       },
       KS_ERR_SSV_NOT_INITIALIZED, true},
      {"link to a file",
       [](const fs::path& d) {
         WriteBytes(d / "planted", kPlanted);
         fs::create_symlink(d / "planted", d / "stableSystemValues");
       },
       KS_ERR_SSV_NOT_INITIALIZED, false},
  };
  for (const StagingCase& c : cases) {
    SCOPED_TRACE(c.name);
    if (c.needsRoot && ::geteuid() != 0) {
      continue;  // Only root can make a file of another account.
    }
    const testsupport::TempMachineRoot root;
    const fs::path staging = root.path() / "staging";
    fs::create_directory(staging);
    c.place(staging);
    EXPECT_EQ(QVSSVCrypto::generateSSV(staging.string(), true), c.expected);
    const fs::path stored = root.ValuePath("SOFTWARE\\Classes\\SSV", "SSV_Data");
    if (c.expected == KS_SUCCESS) {
      EXPECT_FALSE(fs::exists(fs::symlink_status(staging / "stableSystemValues")));
      EXPECT_EQ(ReadBytes(stored).size(), kSsvRecordSize);
      EXPECT_NE(ReadBytes(stored), kPlanted) << "the stale file's content was stored";
    } else {
      EXPECT_FALSE(fs::exists(stored)) << "a record passed through a file that is not ours";
      EXPECT_EQ(ReadBytes(staging / "stableSystemValues"), kPlanted) << "the refused file was changed";
    }
  }
}

TEST(SsvMachineRoot, OpenToOthersItYieldsNoRecordAndTakesNone) {
  const testsupport::TempMachineRoot root;
  const testsupport::CapturedLog log;
  root.WriteValue("SOFTWARE\\Classes\\SSV", "SSV_Data", NewRecord());
  WriteBytes(root.path() / "stableSystemValues", kPlanted);
  fs::permissions(root.path(), fs::perms::all);
  QVSSVCrypto engine;
  EXPECT_EQ(engine.getComponentId(), "");
  EXPECT_EQ(QVSSVCrypto::generateSSV(root.string(), false), KS_ERR_NO_SSV_PERMISSION);
  EXPECT_EQ(QVSSVCrypto::generateSSV(root.string(), true), KS_ERR_NO_SSV_PERMISSION);
  EXPECT_EQ(ReadBytes(root.path() / "stableSystemValues"), kPlanted);
  // Closed again, the stored record comes back behind the staging file that wins over it.
  fs::permissions(root.path(), fs::perms::owner_all | fs::perms::group_read | fs::perms::others_read);
  EXPECT_EQ(engine.getComponentId(), std::string(kComponentIdSize, 'p'));
}

}  // namespace
}  // namespace QVCryptoService
