// SecureBlock's storage: every block is wiped to 0xFF before it is reused or its pages go back
// (the bytes no caller used included), growing keeps the bytes, and the pool behind small blocks
// reuses them, never hands one to two owners, and takes back what a thread cached when it ends.
// Large blocks keep pages of their own.

#include <qvcryptoservice/secure_block.h>

#include "primitives/locked_pool.h"
#include "primitives/secure_memory_hooks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <random>
#include <thread>
#include <vector>

namespace QVCryptoService {
namespace {

bool AllFF(const void* data, std::size_t size) {
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  return std::all_of(bytes, bytes + size, [](std::uint8_t b) { return b == 0xFF; });
}

struct Release {
  const void* data;
  std::size_t size;
  bool allFF;
};
std::vector<Release> g_releases;
void RecordRelease(const void* data, std::size_t size) { g_releases.push_back({data, size, AllFF(data, size)}); }

class SecureBlockStorage : public testing::Test {
 protected:
  void SetUp() override {
    g_releases.clear();
    SetReleaseObserverForTesting(&RecordRelease);
  }
  void TearDown() override { SetReleaseObserverForTesting(nullptr); }
};

TEST_F(SecureBlockStorage, AReleasedBlockHoldsOnlyFFBeforeItGoesBack) {
  // 200 bytes come from a 256-byte pooled block, whose 56 unused bytes must hold 0xFF too (no list
  // pointer either); a block above the pool's largest gets pages that go back to the system.
  const void* pooled = nullptr;
  for (const std::size_t size : {std::size_t{200}, kLargestPooledBlock + 1}) {
    g_releases.clear();
    const void* where = nullptr;
    {
      const SecureBlock block(size, 0x5A);
      where = block.data();
    }
    pooled = pooled == nullptr ? where : pooled;
    ASSERT_EQ(g_releases.size(), 1U) << size;
    EXPECT_EQ(g_releases[0].data, where);
    EXPECT_EQ(g_releases[0].size, size);
    EXPECT_TRUE(g_releases[0].allFF) << size;
  }
  EXPECT_TRUE(AllFF(pooled, 256)) << "the pooled block still holds something after release";
}

TEST_F(SecureBlockStorage, NewBlocksHoldFFWhateverTheSize) {
  for (const std::size_t size : {std::size_t{1}, std::size_t{16}, std::size_t{17}, std::size_t{4096},
                                 kLargestPooledBlock, kLargestPooledBlock + 1, std::size_t{1} << 20}) {
    void* block = LockedAllocatorBase::allocateBytes(size);
    ASSERT_NE(block, nullptr) << size;
    EXPECT_TRUE(AllFF(block, size)) << size;
    std::fill_n(static_cast<std::uint8_t*>(block), size, 0x42);
    LockedAllocatorBase::releaseBytes(block, size);
  }
  for (const Release& release : g_releases) {
    EXPECT_TRUE(release.allFF) << release.size;
  }
}

TEST_F(SecureBlockStorage, GrowthWipesTheOldBlockAndKeepsTheBytes) {
  SecureBlock block;
  for (int i = 0; i < 100; ++i) {
    block.push_back(static_cast<std::uint8_t>(i));
  }
  ASSERT_FALSE(g_releases.empty()) << "growing by push_back must have replaced the storage";
  for (const Release& released : g_releases) {
    EXPECT_TRUE(released.allFF) << "a replaced block of " << released.size << " bytes was not wiped";
  }
  for (int i = 0; i < 100; ++i) {
    ASSERT_EQ(block[static_cast<std::size_t>(i)], i);
  }
  SecureBlock empty;
  empty.reserve(16);
  EXPECT_EQ(empty.size(), 0U);
  EXPECT_GE(empty.capacity(), 16U);
  EXPECT_THROW(empty.reserve(empty.max_size() + 1), std::length_error);
}

TEST(SecureWipe, FillsWithFFAndReportsTrue) {
  for (const std::size_t length : {1U, 4U, 5U, 100U, 499U, 500U, 501U, 4096U}) {
    std::vector<std::uint8_t> buffer(length, 0x12);
    EXPECT_TRUE(SecureWipe(buffer.data(), buffer.size())) << length;
    EXPECT_TRUE(AllFF(buffer.data(), buffer.size())) << length;
  }
  EXPECT_FALSE(SecureWipe(nullptr, 10));
  std::uint8_t untouched = 0x12;
  EXPECT_FALSE(SecureWipe(&untouched, 0));
  EXPECT_EQ(untouched, 0x12);
}

TEST(LockedPool, ReusesBlocksOfTheSameClassAndGivesLargeOnesPagesOfTheirOwn) {
  const void* first = nullptr;
  {
    const SecureBlock block(100, 0x11);
    first = block.data();
  }
  // 100 and 120 bytes share a class; the most recently returned block comes back first.
  const SecureBlock again(120, 0x22);
  EXPECT_EQ(again.data(), first);
  const SecureBlock other(1000, 0x33);
  EXPECT_NE(other.data(), first) << "a block of another class must not overlap";
  const std::size_t size = kLargestPooledBlock + 1;
  const SecureBlock large(size, 7);
  const SecureBlock second(size, 8);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(large.data()) % 4096, 0U);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(second.data()) % 4096, 0U);
  EXPECT_GE(static_cast<std::size_t>(std::abs(second.data() - large.data())), size);
}

TEST(LockedPool, BlocksCachedByAThreadGoBackWhenItEnds) {
  constexpr std::size_t kSize = 48;
  std::vector<void*> released;
  std::thread([&released] {
    for (int i = 0; i < 12; ++i) {
      released.push_back(LockedAllocatorBase::allocateBytes(kSize));
    }
    for (void* block : released) {
      LockedAllocatorBase::releaseBytes(block, kSize);
    }
  }).join();
  // This thread's own cache holds at most a few blocks of the class; past them, the blocks the
  // ended thread had cached must come back from the shared lists.
  std::vector<void*> taken;
  for (int i = 0; i < 64; ++i) {
    taken.push_back(LockedAllocatorBase::allocateBytes(kSize));
  }
  for (const void* block : released) {
    EXPECT_NE(std::find(taken.begin(), taken.end(), block), taken.end())
        << "a block cached by the ended thread was lost";
  }
  for (void* block : taken) {
    LockedAllocatorBase::releaseBytes(block, kSize);
  }
}

TEST(LockedPool, BlocksAreNeverSharedBetweenLiveOwners) {
  std::atomic<int> damaged{0};
  std::atomic<int> unwiped{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([t, &damaged, &unwiped] {
      std::mt19937 random(static_cast<std::uint32_t>(t));
      const auto mark = static_cast<std::uint8_t>(t + 1);
      std::vector<std::pair<std::uint8_t*, std::size_t>> held;
      const auto holdsOnly = [](const auto& block, std::uint8_t value) {
        return std::all_of(block.first, block.first + block.second, [value](std::uint8_t b) { return b == value; });
      };
      for (int round = 0; round < 3000 || !held.empty(); ++round) {
        if (round < 3000) {
          const std::size_t size = 1 + random() % (kLargestPooledBlock + 512);
          held.emplace_back(static_cast<std::uint8_t*>(LockedAllocatorBase::allocateBytes(size)), size);
          unwiped += holdsOnly(held.back(), 0xFF) ? 0 : 1;
          std::fill_n(held.back().first, size, mark);
        }
        if (held.size() > 16 || random() % 3 == 0 || round >= 3000) {
          const auto victim = held.begin() + static_cast<std::ptrdiff_t>(random() % held.size());
          damaged += holdsOnly(*victim, mark) ? 0 : 1;
          LockedAllocatorBase::releaseBytes(victim->first, victim->second);
          held.erase(victim);
        }
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(damaged.load(), 0) << "a live block was written by another owner";
  EXPECT_EQ(unwiped.load(), 0) << "a block was handed out without being wiped";
}

}  // namespace
}  // namespace QVCryptoService
