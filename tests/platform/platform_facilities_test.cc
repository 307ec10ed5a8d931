// The system random source, the logger and replacement files, the same on every platform.

#include <qvcryptoservice/logger.h>

#include "platform/replacement_file.h"
#include "platform/system_random.h"
#include "tests/platform/machine_root_fixture.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>

namespace QVCryptoService {
namespace {

// Two fills of 16 bytes or more are equal, or all zero at the tail, only when something is broken.
TEST(SystemRandom, FillsBuffersOfEverySizeToTheirEnd) {
  for (const std::size_t size : {16, 160, 4096, 1 << 20}) {
    std::vector<std::uint8_t> a(size, 0);
    std::vector<std::uint8_t> b(size, 0);
    ASSERT_TRUE(platform::FillSystemRandom(a.data(), a.size()));
    ASSERT_TRUE(platform::FillSystemRandom(b.data(), b.size()));
    EXPECT_NE(a, b) << size;
    EXPECT_NE(std::vector<std::uint8_t>(a.end() - 16, a.end()), std::vector<std::uint8_t>(16, 0)) << size;
  }
  EXPECT_TRUE(platform::FillSystemRandom(nullptr, 0));
}

// The path changes only on a successful Commit(), and no other file stays in the directory.
TEST(ReplacementFile, TakesThePlaceOfThePathOnlyWhenCommitted) {
  namespace fs = std::filesystem;
  using Bytes = std::vector<std::uint8_t>;
  const Bytes kOld{1, 2, 3};
  const Bytes kNew{4, 5, 6, 7};
  const testsupport::TempMachineRoot root;
  for (const bool existing : {false, true}) {
    for (const bool commit : {false, true}) {
      SCOPED_TRACE(testing::Message() << "existing " << existing << ", commit " << commit);
      const fs::path directory = root.path() / "replacement";
      const fs::path path = directory / "out";
      fs::create_directories(directory);
      if (existing) {
        testsupport::WriteBytes(path, kOld);
      }
      {
        platform::ReplacementFile file(path.string());
        ASSERT_TRUE(file.valid());
        EXPECT_TRUE(file.Write(kNew));
        EXPECT_EQ(fs::exists(path), existing);
        if (commit) {
          EXPECT_TRUE(file.Commit());
        }
      }
      const std::optional<Bytes> expected = commit ? kNew : existing ? std::optional(kOld) : std::nullopt;
      EXPECT_EQ(fs::exists(path), expected.has_value());
      if (expected) {
        EXPECT_EQ(testsupport::ReadBytes(path), *expected);
      }
      EXPECT_EQ(std::distance(fs::directory_iterator(directory), fs::directory_iterator()), expected ? 1 : 0);
      fs::remove_all(directory);
    }
  }
  platform::ReplacementFile missing((root.path() / "missing" / "out").string());
  EXPECT_FALSE(missing.valid());
  EXPECT_FALSE(missing.Write(kNew));
  EXPECT_FALSE(missing.Commit());
  EXPECT_FALSE(fs::exists(root.path() / "missing"));
}

TEST(Logger, EntriesReachTheInstalledSinkUncutAndTheBuiltInOneWritesALineEach) {
  const auto builtIn = ILogger::GetInstance();
  {
    const testsupport::CapturedLog log;
    ILogger::GetInstance()->LogStr(ELogLevel::Info, "PXA-SSV", "Some::function", "plain text %d");
    ILogger::GetInstance()->LogVar(ELogLevel::Error, "C", "F", "value=%d text=%s", -1, "abc");
    ILogger::GetInstance()->LogVar(ELogLevel::Info, "C", "F", "%s", std::string(5000, 'x').c_str());
    EXPECT_EQ(log.entries(), (std::vector<testsupport::LogEntry>{{3, "PXA-SSV", "Some::function", "plain text %d"},
                                                                 {1, "C", "F", "value=-1 text=abc"},
                                                                 {3, "C", "F", std::string(5000, 'x')}}));
  }
  EXPECT_EQ(ILogger::SetInstance(nullptr), builtIn);
  EXPECT_EQ(ILogger::GetInstance(), builtIn) << "a null sink restores the built-in one";
  testing::internal::CaptureStderr();
  ILogger::GetInstance()->LogVar(ELogLevel::Info, "PXA-SSV", "QVCryptoService::QVSSVCrypto::recoverSSV",
                                 "Failed to combine the SSV shares. ret=%d", -1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "PXA-SSV [3] QVCryptoService::QVSSVCrypto::recoverSSV: Failed to combine the SSV shares. ret=-1\n");
}

}  // namespace
}  // namespace QVCryptoService
