// Replacing the machine's SSV record while one step of the store's write fails. Before every
// case the store holds a complete record; after it, the store must hold that record or the
// complete new one (never a mix, never a stray pending file), a fresh engine must load and
// recombine whatever is there, and generateSSV must report access denied (14) for EACCES and
// EPERM and "other" (13) for anything else. The table printed at the end is the fault matrix.

#include <qvcryptoservice/ssv_crypto.h>

#include "tests/platform/failing_file_system.h"
#include "tests/platform/machine_root_fixture.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

namespace fs = std::filesystem;

using Step = testsupport::StoreStep;

enum class Holds { kOldRecord, kNewRecord };

struct FaultCase {
  const char* step;
  Step failing;
  int error;
  Holds expectedContent;
  EQVKeystoreCode expectedCode;
};

std::vector<std::string>& MatrixRows() {
  static std::vector<std::string> rows;
  return rows;
}

const char* ErrorName(int error) {
  switch (error) {
    case EACCES:
      return "EACCES";
    case EPERM:
      return "EPERM";
    case EIO:
      return "EIO";
    case ENOSPC:
      return "ENOSPC";
    case EBUSY:
      return "EBUSY";
    default:
      return "?";
  }
}

class StoreFaultMatrix : public testing::TestWithParam<FaultCase> {
 protected:
  static void TearDownTestSuite() {
    std::printf("\n| failing step | errno | store holds afterwards | fresh loader | generateSSV |\n");
    std::printf("|---|---|---|---|---|\n");
    for (const std::string& row : MatrixRows()) {
      std::printf("%s\n", row.c_str());
    }
  }

  std::vector<std::uint8_t> StoredRecord() const { return testsupport::ReadBytes(RecordPath()); }
  fs::path RecordPath() const { return m_root.ValuePath("SOFTWARE/Classes/SSV", "SSV_Data"); }

  testsupport::TempMachineRoot m_root;
};

TEST_P(StoreFaultMatrix, StoreHoldsOneWholeRecordAndTheErrorIsTheDocumentedOne) {
  const FaultCase& c = GetParam();
  ASSERT_EQ(QVSSVCrypto::generateSSV(m_root.string(), true), KS_SUCCESS);
  const std::vector<std::uint8_t> before = StoredRecord();
  ASSERT_EQ(before.size(), 2883U);

  EQVKeystoreCode code;
  {
    testsupport::FailingFileSystem failing(c.failing, c.error);
    testsupport::InstalledFileSystem installed(failing);
    code = QVSSVCrypto::generateSSV(m_root.string(), true);
  }
  EXPECT_EQ(code, c.expectedCode) << c.step << " failing with " << std::strerror(c.error);

  const std::vector<std::uint8_t> after = StoredRecord();
  ASSERT_EQ(after.size(), 2883U) << "the store holds a partial record after " << c.step << " failed";
  const bool holdsOld = after == before;
  EXPECT_EQ(holdsOld, c.expectedContent == Holds::kOldRecord) << c.step;
  for (const fs::directory_entry& entry : fs::directory_iterator(RecordPath().parent_path())) {
    EXPECT_EQ(entry.path().filename(), "SSV_Data") << "left behind after " << c.step << " failed";
  }
  EXPECT_FALSE(fs::exists(m_root.path() / "stableSystemValues")) << "the staging file was left behind";

  // What a process started now would load: the record that is there, whole.
  QVSSVCrypto engine;
  EXPECT_EQ(engine.getComponentId(), std::string(after.begin(), after.begin() + 32));
  std::vector<std::string> secrets;
  const EQVKeystoreCode loaded = engine.recoverSSV(secrets);
  EXPECT_EQ(loaded, KS_SUCCESS) << "the record left after " << c.step << " failed does not recombine";

  char row[200];
  std::snprintf(row, sizeof row, "| %s | %s | %s record, complete | %s | %d |", c.step, ErrorName(c.error),
                holdsOld ? "old" : "new", loaded == KS_SUCCESS ? "loads, recombines" : "FAILS", static_cast<int>(code));
  MatrixRows().push_back(row);
}

INSTANTIATE_TEST_SUITE_P(
    EveryStep, StoreFaultMatrix,
    testing::Values(FaultCase{"create", Step::kCreateTemporary, EACCES, Holds::kOldRecord, KS_ERR_NO_SSV_PERMISSION},
                    FaultCase{"create", Step::kCreateTemporary, ENOSPC, Holds::kOldRecord, KS_ERR_RESERVED_13},
                    FaultCase{"write", Step::kWrite, EPERM, Holds::kOldRecord, KS_ERR_NO_SSV_PERMISSION},
                    FaultCase{"write", Step::kWrite, ENOSPC, Holds::kOldRecord, KS_ERR_RESERVED_13},
                    FaultCase{"sync", Step::kSyncFile, EIO, Holds::kOldRecord, KS_ERR_RESERVED_13},
                    FaultCase{"sync", Step::kSyncFile, EACCES, Holds::kOldRecord, KS_ERR_NO_SSV_PERMISSION},
                    FaultCase{"close", Step::kClose, EIO, Holds::kOldRecord, KS_ERR_RESERVED_13},
                    FaultCase{"rename", Step::kRename, EACCES, Holds::kOldRecord, KS_ERR_NO_SSV_PERMISSION},
                    FaultCase{"rename", Step::kRename, EBUSY, Holds::kOldRecord, KS_ERR_RESERVED_13},
                    // The rename has happened: the new record is in place, but not known to be durable.
                    FaultCase{"directory sync", Step::kSyncDirectory, EIO, Holds::kNewRecord, KS_ERR_RESERVED_13},
                    FaultCase{"directory sync", Step::kSyncDirectory, EACCES, Holds::kNewRecord,
                              KS_ERR_NO_SSV_PERMISSION}),
    [](const testing::TestParamInfo<FaultCase>& param) {
      std::string name = std::string(param.param.step) + "_" + ErrorName(param.param.error);
      for (char& ch : name) {
        if (ch == ' ') {
          ch = '_';
        }
      }
      return name;
    });

// A value cut short, as a store without atomic replacement could leave it, is never taken for
// a record: the loader reports no SSV rather than recombining part of one.
TEST(StoreFaultMatrixLoader, RefusesAPartialRecordInTheStore) {
  testsupport::TempMachineRoot root;
  const testsupport::CapturedLog quiet;
  ASSERT_EQ(QVSSVCrypto::generateSSV(root.string(), true), KS_SUCCESS);
  const fs::path path = root.ValuePath("SOFTWARE/Classes/SSV", "SSV_Data");
  const std::vector<std::uint8_t> whole = testsupport::ReadBytes(path);
  for (const std::size_t kept : {std::size_t{0}, std::size_t{1}, std::size_t{33}, whole.size() / 2, whole.size() - 1}) {
    testsupport::WriteBytes(path, std::vector<std::uint8_t>(whole.begin(), whole.begin() + static_cast<long>(kept)));
    QVSSVCrypto engine;
    std::vector<std::string> secrets;
    EXPECT_EQ(engine.recoverSSV(secrets), KS_ERR_SSV_NOT_INITIALIZED) << kept << " bytes kept";
    EXPECT_TRUE(secrets.empty()) << kept;
    EXPECT_EQ(engine.getComponentId(), "") << kept;
  }
}

}  // namespace
}  // namespace QVCryptoService
