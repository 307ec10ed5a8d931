// The POSIX machine store: values as files below the machine root, written atomically, with
// every step of the write and the read made to fail through the store's file-system seam.

#include "platform/machine_store.h"
#include "tests/platform/failing_file_system.h"
#include "tests/platform/machine_root_fixture.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <vector>

namespace QVCryptoService::platform {
namespace {

namespace fs = std::filesystem;
using testsupport::ReadBytes;
using testsupport::WriteBytes;
using Bytes = std::vector<std::uint8_t>;

const std::string& kKey = testsupport::kSsvKey;
const std::string& kValue = testsupport::kSsvValue;
constexpr auto Read = testsupport::ReadStoreValue;

class MachineStore : public testing::Test {
 protected:
  fs::path ValueFile() const { return m_root.path() / "registry/SOFTWARE/Classes/SSV" / kValue; }
  // An owner-only file, alone in its key, below owner-only directories.
  void ExpectPrivateValue() const {
    EXPECT_EQ(fs::status(ValueFile()).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(std::distance(fs::directory_iterator(ValueFile().parent_path()), fs::directory_iterator()), 1);
    for (fs::path directory = ValueFile().parent_path(); directory != m_root.path();
         directory = directory.parent_path()) {
      EXPECT_EQ(fs::status(directory).permissions(), fs::perms::owner_all) << directory;
    }
  }

  testsupport::TempMachineRoot m_root;
};

TEST_F(MachineStore, CreateAddsAMissingValueInPrivateDirectoriesAndWriteReplacesIt) {
  const Bytes data = {1, 2, 3, 0, 255};
  ASSERT_EQ(CreateMachineValue(kKey, kValue, data), StoreStatus::kOk);
  EXPECT_EQ(Read(kKey, kValue, 5, StoreStatus::kOk), data);
  ExpectPrivateValue();
  EXPECT_EQ(CreateMachineValue(kKey, kValue, Bytes{2}), StoreStatus::kAlreadyExists);
  EXPECT_EQ(ReadBytes(ValueFile()), data);
  ASSERT_EQ(WriteMachineValue(kKey, kValue, Bytes{9}), StoreStatus::kOk);
  EXPECT_EQ(ReadBytes(ValueFile()), Bytes{9});
  ExpectPrivateValue();
  // A machine root that does not exist yet is made.
  const fs::path nested = m_root.path() / "a" / "b";
  ::setenv("QVCRYPTO_MACHINE_ROOT", nested.c_str(), 1);
  ASSERT_EQ(WriteMachineValue(kKey, kValue, Bytes{7}), StoreStatus::kOk);
  EXPECT_EQ(ReadBytes(nested / "registry/SOFTWARE/Classes/SSV" / kValue), Bytes{7});
}

TEST_F(MachineStore, ReadTellsMissingFromTooLarge) {
  Read(kKey, kValue, 10, StoreStatus::kNotFound);
  Read("SOFTWARE\\Nothing\\Here", kValue, 10, StoreStatus::kNotFound);
  WriteBytes(ValueFile(), Bytes(10, 1));
  EXPECT_EQ(Read(kKey, kValue, 10, StoreStatus::kOk).size(), 10U);
  Read(kKey, kValue, 9, StoreStatus::kValueTooLarge);
  WriteBytes(ValueFile(), {});
  EXPECT_TRUE(Read(kKey, kValue, 10, StoreStatus::kOk).empty());
}

TEST_F(MachineStore, NamesThatWouldLeaveTheStoreAreRefused) {
  WriteBytes(m_root.path() / "outside", {1});
  for (const std::string key : {"", "SOFTWARE\\..\\..", "SOFTWARE\\\\SSV", "SOFTWARE\\.", "SOFTWARE/../..", "\\"}) {
    Read(key, "outside", 10, StoreStatus::kOtherError);
    EXPECT_EQ(WriteMachineValue(key, kValue, Bytes{1}), StoreStatus::kOtherError) << key;
  }
  for (const std::string value : {"", ".", "..", "../outside", "a/b"}) {
    Read(kKey, value, 10, StoreStatus::kOtherError);
    EXPECT_EQ(WriteMachineValue(kKey, value, Bytes{1}), StoreStatus::kOtherError) << value;
  }
  EXPECT_EQ(ReadBytes(m_root.path() / "outside"), Bytes{1});
}

using Step = testsupport::StoreStep;

struct FaultCase {
  Step step;
  int error;
  StoreStatus expected;
};

// EACCES and EPERM stand for the registry's access denied, every other error for "other". A
// failed write keeps the old value, except after the rename, and never leaves a temporary file.
TEST_F(MachineStore, EveryFailingStepOfAWriteOrReadMapsLikeTheRegistry) {
  const Bytes oldValue(40, 0x11);
  const Bytes newValue(64, 0x22);
  for (const FaultCase c : {FaultCase{Step::kMakeDirectory, EACCES, StoreStatus::kAccessDenied},
                            FaultCase{Step::kMakeDirectory, EROFS, StoreStatus::kOtherError},
                            FaultCase{Step::kCreateTemporary, EPERM, StoreStatus::kAccessDenied},
                            FaultCase{Step::kCreateTemporary, EMFILE, StoreStatus::kOtherError},
                            FaultCase{Step::kWrite, ENOSPC, StoreStatus::kOtherError},
                            FaultCase{Step::kWrite, EACCES, StoreStatus::kAccessDenied},
                            FaultCase{Step::kSyncFile, EIO, StoreStatus::kOtherError},
                            FaultCase{Step::kSyncFile, EACCES, StoreStatus::kAccessDenied},
                            FaultCase{Step::kClose, EIO, StoreStatus::kOtherError},
                            FaultCase{Step::kRename, EACCES, StoreStatus::kAccessDenied},
                            FaultCase{Step::kRename, EXDEV, StoreStatus::kOtherError},
                            FaultCase{Step::kSyncDirectory, EIO, StoreStatus::kOtherError},
                            FaultCase{Step::kSyncDirectory, EPERM, StoreStatus::kAccessDenied}}) {
    SCOPED_TRACE(testing::Message() << "step " << static_cast<int>(c.step) << " errno " << c.error);
    ASSERT_EQ(WriteMachineValue(kKey, kValue, oldValue), StoreStatus::kOk);
    testsupport::FailingFileSystem failing(c.step, c.error);
    const testsupport::InstalledFileSystem installed(failing);
    EXPECT_EQ(WriteMachineValue(kKey, kValue, newValue), c.expected);
    EXPECT_EQ(ReadBytes(ValueFile()), c.step == Step::kSyncDirectory ? newValue : oldValue);
    EXPECT_EQ(std::distance(fs::directory_iterator(ValueFile().parent_path()), fs::directory_iterator()), 1);
  }
  for (const FaultCase c : {FaultCase{Step::kRead, EACCES, StoreStatus::kAccessDenied},
                            FaultCase{Step::kRead, EPERM, StoreStatus::kAccessDenied},
                            FaultCase{Step::kRead, ENOENT, StoreStatus::kNotFound},
                            FaultCase{Step::kRead, EIO, StoreStatus::kOtherError}}) {
    testsupport::FailingFileSystem failing(c.step, c.error);
    const testsupport::InstalledFileSystem installed(failing);
    Read(kKey, kValue, 100, c.expected);
  }
}

}  // namespace
}  // namespace QVCryptoService::platform
