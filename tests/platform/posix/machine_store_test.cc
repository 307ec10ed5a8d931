// The POSIX machine store, with every step of a write and a read failing through its seam.

#include "platform/machine_store.h"
#include "tests/platform/failing_file_system.h"
#include "tests/platform/machine_root_fixture.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace QVCryptoService::platform {
namespace {

namespace fs = std::filesystem;
using testsupport::ReadBytes;
using testsupport::WriteBytes;
using Bytes = std::vector<std::uint8_t>;
using Step = testsupport::StoreStep;

const std::string& kKey = testsupport::kSsvKey;
const std::string& kValue = testsupport::kSsvValue;
constexpr auto Read = testsupport::ReadStoreValue;

class MachineStore : public testing::Test {
 protected:
  fs::path ValueFile() const { return m_root.path() / "registry/SOFTWARE/Classes/SSV" / kValue; }
  std::size_t FilesBesideTheValue() const {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(ValueFile().parent_path()), {})) - 1;
  }

  testsupport::TempMachineRoot m_root;
};

// An owner-only file, alone in its key, below owner-only directories; a root not there yet is made.
TEST_F(MachineStore, CreateAddsAMissingValuePrivatelyAndWriteReplacesIt) {
  const Bytes data = {1, 2, 3, 0, 255};
  ASSERT_EQ(CreateMachineValue(kKey, kValue, data), StoreStatus::kOk);
  EXPECT_EQ(CreateMachineValue(kKey, kValue, Bytes{2}), StoreStatus::kAlreadyExists);
  EXPECT_EQ(Read(kKey, kValue, 5, StoreStatus::kOk), data);
  ASSERT_EQ(WriteMachineValue(kKey, kValue, Bytes{9}), StoreStatus::kOk);
  EXPECT_EQ(ReadBytes(ValueFile()), Bytes{9});
  EXPECT_EQ(fs::status(ValueFile()).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(FilesBesideTheValue(), 0U);
  for (fs::path directory = ValueFile().parent_path(); directory != m_root.path();
       directory = directory.parent_path()) {
    EXPECT_EQ(fs::status(directory).permissions(), fs::perms::owner_all) << directory;
  }
  const fs::path nested = m_root.path() / "a" / "b";
  ::setenv("QVCRYPTO_MACHINE_ROOT", nested.c_str(), 1);
  ASSERT_EQ(WriteMachineValue(kKey, kValue, Bytes{7}), StoreStatus::kOk);
  EXPECT_EQ(ReadBytes(nested / "registry/SOFTWARE/Classes/SSV" / kValue), Bytes{7});
}

TEST_F(MachineStore, ReadTellsMissingFromTooLargeAndRefusesNamesThatLeaveTheStore) {
  Read(kKey, kValue, 10, StoreStatus::kNotFound);
  Read("SOFTWARE\\Nothing\\Here", kValue, 10, StoreStatus::kNotFound);
  WriteBytes(ValueFile(), Bytes(10, 1));
  EXPECT_EQ(Read(kKey, kValue, 10, StoreStatus::kOk).size(), 10U);
  Read(kKey, kValue, 9, StoreStatus::kValueTooLarge);
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

// EACCES and EPERM mean access denied; a failed write keeps the old value (unless after the
// rename) and leaves no temporary file.
TEST_F(MachineStore, EveryFailingStepOfAWriteOrReadMapsLikeTheRegistry) {
  const struct {
    Step step;
    int error;
    StoreStatus expected;
  } cases[] = {{Step::kMakeDirectory, EACCES, StoreStatus::kAccessDenied},
               {Step::kMakeDirectory, EROFS, StoreStatus::kOtherError},
               {Step::kCreateTemporary, EPERM, StoreStatus::kAccessDenied},
               {Step::kCreateTemporary, EMFILE, StoreStatus::kOtherError},
               {Step::kWrite, ENOSPC, StoreStatus::kOtherError},
               {Step::kWrite, EACCES, StoreStatus::kAccessDenied},
               {Step::kSyncFile, EIO, StoreStatus::kOtherError},
               {Step::kSyncFile, EACCES, StoreStatus::kAccessDenied},
               {Step::kClose, EIO, StoreStatus::kOtherError},
               {Step::kRename, EACCES, StoreStatus::kAccessDenied},
               {Step::kRename, EXDEV, StoreStatus::kOtherError},
               {Step::kSyncDirectory, EIO, StoreStatus::kOtherError},
               {Step::kSyncDirectory, EPERM, StoreStatus::kAccessDenied},
               {Step::kRead, EACCES, StoreStatus::kAccessDenied},
               {Step::kRead, EPERM, StoreStatus::kAccessDenied},
               {Step::kRead, ENOENT, StoreStatus::kNotFound},
               {Step::kRead, EIO, StoreStatus::kOtherError}};
  const Bytes oldValue(40, 0x11);
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "step " << static_cast<int>(c.step) << " errno " << c.error);
    ASSERT_EQ(WriteMachineValue(kKey, kValue, oldValue), StoreStatus::kOk);
    testsupport::FailingFileSystem failing(c.step, c.error);
    const testsupport::InstalledFileSystem installed(failing);
    if (c.step == Step::kRead) {
      Read(kKey, kValue, 100, c.expected);
      continue;
    }
    EXPECT_EQ(WriteMachineValue(kKey, kValue, Bytes(64, 0x22)), c.expected);
    EXPECT_EQ(ReadBytes(ValueFile()), c.step == Step::kSyncDirectory ? Bytes(64, 0x22) : oldValue);
    EXPECT_EQ(FilesBesideTheValue(), 0U);
  }
}

}  // namespace
}  // namespace QVCryptoService::platform
