// The system random source and the logger, the same on every platform.

#include <qvcryptoservice/logger.h>

#include "platform/system_random.h"
#include "tests/platform/machine_root_fixture.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

namespace QVCryptoService {
namespace {

TEST(SystemRandom, FillsBuffersOfEverySizeWithDistinctBytes) {
  std::set<std::vector<std::uint8_t>> seen;
  for (const std::size_t size : {1, 16, 160, 4096, 1 << 20}) {
    std::vector<std::uint8_t> a(size, 0);
    std::vector<std::uint8_t> b(size, 0);
    ASSERT_TRUE(platform::FillSystemRandom(a.data(), a.size()));
    ASSERT_TRUE(platform::FillSystemRandom(b.data(), b.size()));
    if (size >= 16) {
      EXPECT_NE(a, b) << size;
      // The tail is filled too, not only the first chunk.
      const std::vector<std::uint8_t> tail(a.end() - 16, a.end());
      EXPECT_NE(tail, std::vector<std::uint8_t>(16, 0)) << size;
    }
  }
  EXPECT_TRUE(platform::FillSystemRandom(nullptr, 0));
}

TEST(Logger, InstalledSinkReceivesEntriesAndTheBuiltInOneComesBack) {
  const auto builtIn = ILogger::GetInstance();
  ASSERT_NE(builtIn, nullptr);
  {
    const testsupport::CapturedLog log;
    EXPECT_NE(ILogger::GetInstance(), builtIn);
    ILogger::GetInstance()->LogStr(ELogLevel::Info, "PXA-SSV", "Some::function", "plain text %d");
    ILogger::GetInstance()->LogVar(ELogLevel::Error, "C", "F", "value=%d text=%s", -1, "abc");
    ILogger::GetInstance()->LogVar(ELogLevel::Info, "C", "F", "%s", std::string(5000, 'x').c_str());
    const auto entries = log.entries();
    ASSERT_EQ(entries.size(), 3U);
    EXPECT_EQ(entries[0], (testsupport::LogEntry{3, "PXA-SSV", "Some::function", "plain text %d"}));
    EXPECT_EQ(entries[1], (testsupport::LogEntry{1, "C", "F", "value=-1 text=abc"}));
    EXPECT_EQ(entries[2].message, std::string(5000, 'x')) << "long messages are not cut";
  }
  EXPECT_EQ(ILogger::GetInstance(), builtIn);
  EXPECT_EQ(ILogger::SetInstance(nullptr), builtIn);
  EXPECT_EQ(ILogger::GetInstance(), builtIn) << "a null sink restores the built-in one";
}

TEST(Logger, BuiltInSinkWritesOneLinePerEntry) {
  testing::internal::CaptureStderr();
  ILogger::GetInstance()->LogVar(ELogLevel::Info, "PXA-SSV", "QVCryptoService::QVSSVCrypto::recoverSSV",
                                 "Failed to combine the SSV shares. ret=%d", -1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "PXA-SSV [3] QVCryptoService::QVSSVCrypto::recoverSSV: Failed to combine the SSV shares. ret=-1\n");
}

}  // namespace
}  // namespace QVCryptoService
