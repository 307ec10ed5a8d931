// generateSSV and the loader on a machine root open to others, and on a failing store.

#include <qvcryptoservice/ssv_crypto.h>

#include "ssv/record_layout.h"
#include "tests/platform/failing_file_system.h"
#include "tests/platform/machine_root_fixture.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace QVCryptoService {
namespace {

namespace fs = std::filesystem;
using testsupport::kSsvKey;
using testsupport::kSsvValue;

TEST(SsvMachineRoot, OpenToOthersItYieldsNoRecordAndTakesNone) {
  const testsupport::TempMachineRoot root;
  const testsupport::CapturedLog quiet;
  ASSERT_EQ(QVSSVCrypto::generateSSV(root.string(), true), KS_SUCCESS);
  const std::vector<std::uint8_t> staged(kSsvRecordSize, 'p');
  testsupport::WriteBytes(root.path() / "stableSystemValues", staged);
  fs::permissions(root.path(), fs::perms::all);
  QVSSVCrypto engine;
  EXPECT_EQ(engine.getComponentId(), "");
  EXPECT_EQ(QVSSVCrypto::generateSSV(root.string(), false), KS_ERR_NO_SSV_PERMISSION);
  EXPECT_EQ(QVSSVCrypto::generateSSV(root.string(), true), KS_ERR_NO_SSV_PERMISSION);
  EXPECT_EQ(testsupport::ReadBytes(root.path() / "stableSystemValues"), staged);
  // Closed again, the staging file, which wins over the stored record, is read.
  fs::permissions(root.path(), fs::perms::owner_all | fs::perms::group_read | fs::perms::others_read);
  EXPECT_EQ(engine.getComponentId(), std::string(kComponentIdSize, 'p'));
}

TEST(SsvStoreFaults, AFailedReplacementKeepsTheWholeOldRecordAndReportsTheCode) {
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
    const std::vector<std::uint8_t> before = root.ReadValue(kSsvKey, kSsvValue);
    {
      testsupport::FailingFileSystem failing(c.step, c.error);
      const testsupport::InstalledFileSystem installed(failing);
      EXPECT_EQ(QVSSVCrypto::generateSSV(root.string(), true), c.expected);
    }
    EXPECT_EQ(root.ReadValue(kSsvKey, kSsvValue), before);
    EXPECT_FALSE(fs::exists(root.path() / "stableSystemValues")) << "the staging file was left behind";
    EXPECT_EQ(QVSSVCrypto().getComponentId(), std::string(before.begin(), before.begin() + kComponentIdSize));
  }
}

}  // namespace
}  // namespace QVCryptoService
