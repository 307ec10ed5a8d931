// The POSIX machine store: values as files below the machine root, written atomically, with
// every step of the write made to fail through the store's file-system seam.

#include "platform/machine_store.h"
#include "tests/platform/failing_file_system.h"
#include "tests/platform/machine_root_fixture.h"
#include "tests/platform/store_reads.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <vector>

namespace QVCryptoService::platform {
namespace {

namespace fs = std::filesystem;
using testsupport::ReadBytes;
using testsupport::WriteBytes;

const std::string& kKey = testsupport::kSsvKey;
const std::string& kValue = testsupport::kSsvValue;
constexpr auto Read = testsupport::ReadStoreValue;

class MachineStore : public testing::Test {
 protected:
  fs::path ValueFile() const { return m_root.ValuePath("SOFTWARE/Classes/SSV", kValue); }

  testsupport::TempMachineRoot m_root;
};

TEST_F(MachineStore, WriteCreatesTheKeyPathAndReadsBack) {
  const std::vector<std::uint8_t> data = {1, 2, 3, 0, 255};
  ASSERT_EQ(WriteMachineValue(kKey, kValue, data), StoreStatus::kOk);
  EXPECT_EQ(ReadBytes(ValueFile()), data);
  EXPECT_EQ(Read(kKey, kValue, 5, StoreStatus::kOk), data);
  EXPECT_EQ(fs::status(ValueFile()).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  for (fs::path directory = ValueFile().parent_path(); directory != m_root.path();
       directory = directory.parent_path()) {
    EXPECT_EQ(fs::status(directory).permissions(), fs::perms::owner_all) << directory;
  }
  // Rewriting replaces the whole value, also with a shorter one.
  ASSERT_EQ(WriteMachineValue(kKey, kValue, std::vector<std::uint8_t>{9}), StoreStatus::kOk);
  EXPECT_EQ(Read(kKey, kValue, 5, StoreStatus::kOk), std::vector<std::uint8_t>{9});
}

TEST_F(MachineStore, CreateOnlyAddsAMissingValue) {
  ASSERT_EQ(CreateMachineValue(kKey, kValue, std::vector<std::uint8_t>{1}), StoreStatus::kOk);
  EXPECT_EQ(CreateMachineValue(kKey, kValue, std::vector<std::uint8_t>{2}), StoreStatus::kAlreadyExists);
  EXPECT_EQ(Read(kKey, kValue, 5, StoreStatus::kOk), std::vector<std::uint8_t>{1});
  m_root.ExpectPrivateBinaryValue(kKey, "SSV_Data");
}

TEST_F(MachineStore, CreatesAMissingMachineRoot) {
  const testsupport::TempMachineRoot outer;
  const fs::path nested = outer.path() / "a" / "b";
  ::setenv("QVCRYPTO_MACHINE_ROOT", nested.c_str(), 1);
  ASSERT_EQ(WriteMachineValue(kKey, kValue, std::vector<std::uint8_t>{7}), StoreStatus::kOk);
  EXPECT_EQ(ReadBytes(nested / "registry" / "SOFTWARE" / "Classes" / "SSV" / kValue), std::vector<std::uint8_t>{7});
}

TEST_F(MachineStore, ReadTellsMissingFromTooLarge) {
  Read(kKey, kValue, 10, StoreStatus::kNotFound);
  Read("SOFTWARE\\Nothing\\Here", kValue, 10, StoreStatus::kNotFound);
  WriteBytes(ValueFile(), std::vector<std::uint8_t>(10, 1));
  EXPECT_EQ(Read(kKey, kValue, 10, StoreStatus::kOk).size(), 10U);
  Read(kKey, kValue, 9, StoreStatus::kValueTooLarge);
  WriteBytes(ValueFile(), {});
  EXPECT_TRUE(Read(kKey, kValue, 10, StoreStatus::kOk).empty());
}

TEST_F(MachineStore, NamesThatWouldLeaveTheStoreAreRefused) {
  WriteBytes(m_root.path() / "outside", {1});
  for (const std::string key : {"", "SOFTWARE\\..\\..", "SOFTWARE\\\\SSV", "SOFTWARE\\.", "SOFTWARE/../..", "\\"}) {
    Read(key, "outside", 10, StoreStatus::kOtherError);
    EXPECT_EQ(WriteMachineValue(key, kValue, std::vector<std::uint8_t>{1}), StoreStatus::kOtherError) << key;
  }
  for (const std::string value : {"", ".", "..", "../outside", "a/b"}) {
    Read(kKey, value, 10, StoreStatus::kOtherError);
    EXPECT_EQ(WriteMachineValue(kKey, value, std::vector<std::uint8_t>{1}), StoreStatus::kOtherError) << value;
  }
  EXPECT_EQ(ReadBytes(m_root.path() / "outside"), std::vector<std::uint8_t>{1});
}

using testsupport::FailingFileSystem;
using Step = testsupport::StoreStep;

struct FaultCase {
  const char* name;
  Step step;
  int error;
  StoreStatus expected;
};

class MachineStoreFaults : public MachineStore, public testing::WithParamInterface<FaultCase> {
 protected:
  FailingFileSystem m_failing{GetParam().step, GetParam().error};
};

TEST_P(MachineStoreFaults, AFailedWriteKeepsTheOldValueAndLeavesNoTemporaryFile) {
  const std::vector<std::uint8_t> oldValue(40, 0x11);
  const std::vector<std::uint8_t> newValue(64, 0x22);
  ASSERT_EQ(WriteMachineValue(kKey, kValue, oldValue), StoreStatus::kOk);
  const testsupport::InstalledFileSystem installed(m_failing);
  EXPECT_EQ(WriteMachineValue(kKey, kValue, newValue), GetParam().expected) << GetParam().name;
  const auto now = ReadBytes(ValueFile());
  // Only a failed directory sync comes after the rename; then the new value is in place.
  EXPECT_EQ(now, GetParam().step == Step::kSyncDirectory ? newValue : oldValue);
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(ValueFile().parent_path())) {
    names.push_back(entry.path().filename().string());
  }
  EXPECT_EQ(names, std::vector<std::string>{kValue});
}

INSTANTIATE_TEST_SUITE_P(
    EachStep, MachineStoreFaults,
    testing::Values(FaultCase{"MakeDirectoryDenied", Step::kMakeDirectory, EACCES, StoreStatus::kAccessDenied},
                    FaultCase{"MakeDirectoryNoSpace", Step::kMakeDirectory, ENOSPC, StoreStatus::kOtherError},
                    FaultCase{"CreateNotPermitted", Step::kCreateTemporary, EPERM, StoreStatus::kAccessDenied},
                    FaultCase{"CreateTooManyFiles", Step::kCreateTemporary, EMFILE, StoreStatus::kOtherError},
                    FaultCase{"WriteNoSpace", Step::kWrite, ENOSPC, StoreStatus::kOtherError},
                    FaultCase{"WriteDenied", Step::kWrite, EACCES, StoreStatus::kAccessDenied},
                    FaultCase{"SyncIoError", Step::kSyncFile, EIO, StoreStatus::kOtherError},
                    FaultCase{"CloseIoError", Step::kClose, EIO, StoreStatus::kOtherError},
                    FaultCase{"RenameDenied", Step::kRename, EACCES, StoreStatus::kAccessDenied},
                    FaultCase{"RenameCrossDevice", Step::kRename, EXDEV, StoreStatus::kOtherError},
                    FaultCase{"DirectorySyncIoError", Step::kSyncDirectory, EIO, StoreStatus::kOtherError}),
    [](const testing::TestParamInfo<FaultCase>& param) { return std::string(param.param.name); });

TEST_F(MachineStore, ReadFailuresMapLikeTheRegistry) {
  ASSERT_EQ(WriteMachineValue(kKey, kValue, std::vector<std::uint8_t>{1, 2}), StoreStatus::kOk);
  struct ReadCase {
    int error;
    StoreStatus expected;
  };
  for (const ReadCase c : {ReadCase{EACCES, StoreStatus::kAccessDenied}, ReadCase{EPERM, StoreStatus::kAccessDenied},
                           ReadCase{ENOENT, StoreStatus::kNotFound}, ReadCase{EIO, StoreStatus::kOtherError}}) {
    FailingFileSystem failing(Step::kRead, c.error);
    const testsupport::InstalledFileSystem installed(failing);
    Read(kKey, kValue, 10, c.expected);
  }
  EXPECT_EQ(Read(kKey, kValue, 10, StoreStatus::kOk), (std::vector<std::uint8_t>{1, 2}));
}

}  // namespace
}  // namespace QVCryptoService::platform
