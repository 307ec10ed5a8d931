#include <qvcryptoservice/secure_block.h>

#include "platform/locked_pages.h"
#include "primitives/secure_memory_hooks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace QVCryptoService {
namespace {

struct ReleasedBlock {
  const void* data;
  std::size_t size;
  bool allFF;
};
std::vector<ReleasedBlock> g_released;

void RecordRelease(const void* data, std::size_t size) {
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  g_released.push_back({data, size, std::all_of(bytes, bytes + size, [](std::uint8_t b) { return b == 0xFF; })});
}

class SecureBlockStorage : public testing::Test {
 protected:
  void SetUp() override {
    g_released.clear();
    SetReleaseObserverForTesting(&RecordRelease);
  }
  void TearDown() override { SetReleaseObserverForTesting(nullptr); }
};

TEST_F(SecureBlockStorage, PagesAreLockedWhileTheBlockLives) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizers intercept mlock and make it a no-op";
#endif
  if (!platform::PageLocksAreObservable()) {
    GTEST_SKIP() << "Wine locks the pages but its QueryWorkingSetEx never reports them as locked";
  }
  SecureBlock block(64, 0x5A);
  EXPECT_TRUE(platform::IsPageLocked(block.data()));
  std::vector<std::uint8_t> ordinary(64);
  EXPECT_FALSE(platform::IsPageLocked(ordinary.data())) << "the check must tell locked from ordinary memory";
}

TEST_F(SecureBlockStorage, ReleasedBlockHoldsOnlyFFBeforeItsPagesGoBack) {
  const void* where = nullptr;
  {
    SecureBlock block(4096, 0x3C);
    where = block.data();
  }
  ASSERT_EQ(g_released.size(), 1U);
  EXPECT_EQ(g_released[0].data, where);
  EXPECT_EQ(g_released[0].size, 4096U);
  EXPECT_TRUE(g_released[0].allFF);
}

TEST_F(SecureBlockStorage, GrowthWipesTheOldBlockAndKeepsTheBytes) {
  SecureBlock block;
  for (int i = 0; i < 100; ++i) {
    block.push_back(static_cast<std::uint8_t>(i));
  }
  ASSERT_FALSE(g_released.empty()) << "growing by push_back must have replaced the storage";
  for (const ReleasedBlock& released : g_released) {
    EXPECT_TRUE(released.allFF) << "a replaced block of " << released.size << " bytes was not wiped";
  }
  for (int i = 0; i < 100; ++i) {
    ASSERT_EQ(block[static_cast<std::size_t>(i)], i);
  }
}

TEST_F(SecureBlockStorage, ReserveOnEmptyBlockKeepsSizeZero) {
  SecureBlock block;
  block.reserve(16);
  EXPECT_EQ(block.size(), 0U);
  EXPECT_GE(block.capacity(), 16U);
  EXPECT_THROW(block.reserve(block.max_size() + 1), std::length_error);
}

TEST(SecureWipe, FillsWithFFAndReportsTrue) {
  for (const std::size_t length : {1U, 4U, 5U, 100U, 499U, 500U, 501U, 4096U}) {
    std::vector<std::uint8_t> buffer(length, 0x12);
    EXPECT_TRUE(SecureWipe(buffer.data(), buffer.size())) << length;
    EXPECT_TRUE(std::all_of(buffer.begin(), buffer.end(), [](std::uint8_t b) { return b == 0xFF; })) << length;
  }
  EXPECT_FALSE(SecureWipe(nullptr, 10));
  std::uint8_t untouched = 0x12;
  EXPECT_FALSE(SecureWipe(&untouched, 0));
  EXPECT_EQ(untouched, 0x12);
}

}  // namespace
}  // namespace QVCryptoService
