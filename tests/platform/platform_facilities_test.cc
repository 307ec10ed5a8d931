// The system random source and the logger, the same on every platform.

#include <qvcryptoservice/logger.h>

#include "platform/system_random.h"
#include "tests/platform/machine_root_fixture.h"

#include <gtest/gtest.h>

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
