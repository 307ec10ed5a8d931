// How generateSSV reports a machine store it cannot write. The suite runs as root, which file
// modes do not stop, so the failures come through the store's file-system seam.

#include <qvcryptoservice/ssv_crypto.h>

#include "platform/posix/store_file_system.h"
#include "tests/platform/machine_root_fixture.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace QVCryptoService {
namespace {

namespace fs = std::filesystem;

enum class Step { kMakeDirectory, kCreateTemporary, kWrite, kSyncFile, kRename, kSyncDirectory };

// FailingStep passes every operation to the real file system except one, which fails.
class FailingStep : public platform::StoreFileSystem {
 public:
  FailingStep(Step step, int error) : m_step(step), m_error(error) {}

  int MakeDirectory(const std::string& path) override {
    return m_step == Step::kMakeDirectory ? m_error : StoreFileSystem::MakeDirectory(path);
  }
  int CreateTemporaryFile(const std::string& directory, std::string& path, int& descriptor) override {
    return m_step == Step::kCreateTemporary ? m_error
                                            : StoreFileSystem::CreateTemporaryFile(directory, path, descriptor);
  }
  int WriteAll(int descriptor, const std::uint8_t* data, std::size_t size) override {
    return m_step == Step::kWrite ? m_error : StoreFileSystem::WriteAll(descriptor, data, size);
  }
  int SyncFile(int descriptor) override {
    return m_step == Step::kSyncFile ? m_error : StoreFileSystem::SyncFile(descriptor);
  }
  int RenameFile(const std::string& from, const std::string& to) override {
    return m_step == Step::kRename ? m_error : StoreFileSystem::RenameFile(from, to);
  }
  int SyncDirectory(const std::string& path) override {
    return m_step == Step::kSyncDirectory ? m_error : StoreFileSystem::SyncDirectory(path);
  }

 private:
  Step m_step;
  int m_error;
};

struct FailureCase {
  const char* name;
  Step step;
  int error;
  EQVKeystoreCode expected;
};

class GenerateThroughStoreSeam : public testing::TestWithParam<FailureCase> {
 protected:
  void SetUp() override { m_previous = platform::SetStoreFileSystemForTesting(&m_failing); }
  void TearDown() override { platform::SetStoreFileSystemForTesting(m_previous); }

  testsupport::TempMachineRoot m_root;
  FailingStep m_failing{GetParam().step, GetParam().error};
  platform::StoreFileSystem* m_previous = nullptr;
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
