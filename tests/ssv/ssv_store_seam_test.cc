// How generateSSV reports a machine store it cannot write. The suite runs as root, which file
// modes do not stop, so the failures come through the store's file-system seam.

#include <qvcryptoservice/ssv_crypto.h>

#include "tests/platform/failing_file_system.h"
#include "tests/platform/machine_root_fixture.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace QVCryptoService {
namespace {

namespace fs = std::filesystem;

using Step = testsupport::StoreStep;

struct FailureCase {
  const char* name;
  Step step;
  int error;
  EQVKeystoreCode expected;
};

class GenerateThroughStoreSeam : public testing::TestWithParam<FailureCase> {
 protected:
  testsupport::TempMachineRoot m_root;
  testsupport::FailingFileSystem m_failing{GetParam().step, GetParam().error};
  testsupport::InstalledFileSystem m_installed{m_failing};
};

TEST_P(GenerateThroughStoreSeam, MapsAccessDeniedTo14AndOtherFailuresTo13) {
  const FailureCase& c = GetParam();
  EXPECT_EQ(QVSSVCrypto::generateSSV(m_root.string(), true), c.expected)
      << c.name << " failing with " << std::strerror(c.error);
  EXPECT_FALSE(fs::exists(m_root.path() / "stableSystemValues")) << "the staging file was left behind";
  const fs::path key = m_root.path() / "registry" / "SOFTWARE" / "Classes" / "SSV";
  if (c.step != Step::kSyncDirectory && fs::exists(key)) {
    EXPECT_TRUE(fs::is_empty(key)) << "a failed write left a file in the key";
  }
}

INSTANTIATE_TEST_SUITE_P(
    Steps, GenerateThroughStoreSeam,
    testing::Values(FailureCase{"MakeDirectoryDenied", Step::kMakeDirectory, EACCES, KS_ERR_NO_SSV_PERMISSION},
                    FailureCase{"MakeDirectoryNotPermitted", Step::kMakeDirectory, EPERM, KS_ERR_NO_SSV_PERMISSION},
                    FailureCase{"MakeDirectoryReadOnly", Step::kMakeDirectory, EROFS, KS_ERR_RESERVED_13},
                    FailureCase{"CreateDenied", Step::kCreateTemporary, EACCES, KS_ERR_NO_SSV_PERMISSION},
                    FailureCase{"CreateNoSpace", Step::kCreateTemporary, ENOSPC, KS_ERR_RESERVED_13},
                    FailureCase{"WriteDenied", Step::kWrite, EPERM, KS_ERR_NO_SSV_PERMISSION},
                    FailureCase{"WriteIoError", Step::kWrite, EIO, KS_ERR_RESERVED_13},
                    FailureCase{"SyncIoError", Step::kSyncFile, EIO, KS_ERR_RESERVED_13},
                    FailureCase{"RenameDenied", Step::kRename, EACCES, KS_ERR_NO_SSV_PERMISSION},
                    FailureCase{"RenameBusy", Step::kRename, EBUSY, KS_ERR_RESERVED_13},
                    FailureCase{"DirectorySyncIoError", Step::kSyncDirectory, EIO, KS_ERR_RESERVED_13}),
    [](const testing::TestParamInfo<FailureCase>& param) { return std::string(param.param.name); });

}  // namespace
}  // namespace QVCryptoService
