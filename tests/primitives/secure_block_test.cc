// SecureBlock's storage is wiped to 0xFF, and its pool neither shares nor loses blocks.

#include <qvcryptoservice/secure_block.h>

#include "primitives/locked_pool.h"
#include "primitives/secure_memory_hooks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <random>
#include <thread>

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

// The unused bytes of a pooled block (200 bytes of 256) hold 0xFF too, no list pointer.
TEST_F(SecureBlockStorage, BlocksHoldOnlyFFWhenHandedOutAndWhenReleased) {
  for (const std::size_t size : {std::size_t{1}, std::size_t{17}, std::size_t{200}, kLargestPooledBlock,
                                 kLargestPooledBlock + 1, std::size_t{1} << 20}) {
    void* fresh = LockedAllocatorBase::allocateBytes(size);
    ASSERT_NE(fresh, nullptr) << size;
    EXPECT_TRUE(AllFF(fresh, size)) << size;
    LockedAllocatorBase::releaseBytes(fresh, size);
    g_releases.clear();
    const void* block = nullptr;
    {
      const SecureBlock held(size, 0x42);
      block = held.data();
    }
    ASSERT_EQ(g_releases.size(), 1U) << size;
    EXPECT_EQ(g_releases[0].data, block);
    EXPECT_EQ(g_releases[0].size, size);
    EXPECT_TRUE(g_releases[0].allFF) << size;
    if (size == 200) {
      EXPECT_TRUE(AllFF(block, 256)) << "the pooled block still holds something after release";
    }
    // Pooled blocks and the pages of large ones are handed out again: wiped, whatever they held.
    void* again = LockedAllocatorBase::allocateBytes(size);
    EXPECT_TRUE(AllFF(again, size)) << size;
    LockedAllocatorBase::releaseBytes(again, size);
  }
  SecureBlock block;
  EXPECT_THROW(block.reserve(block.max_size() + 1), std::length_error);
  std::vector<std::uint8_t> buffer(501, 0x12);
  EXPECT_TRUE(SecureWipe(buffer.data(), buffer.size()) && AllFF(buffer.data(), buffer.size()));
  EXPECT_FALSE(SecureWipe(nullptr, 10) || SecureWipe(buffer.data(), 0));
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
  // Past this thread's own few cached blocks, the ended thread's must come back from the pool.
  std::vector<void*> taken;
  for (int i = 0; i < 64; ++i) {
    taken.push_back(LockedAllocatorBase::allocateBytes(kSize));
  }
  for (const void* block : released) {
    EXPECT_NE(std::find(taken.begin(), taken.end(), block), taken.end()) << "a block the ended thread cached was lost";
  }
  for (void* block : taken) {
    LockedAllocatorBase::releaseBytes(block, kSize);
  }
}

// Each thread marks its blocks: one that changes under its owner was handed to two.
TEST(LockedPool, BlocksAreNeverSharedBetweenLiveOwners) {
  std::atomic<int> damaged{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([t, &damaged] {
      std::mt19937 random(static_cast<std::uint32_t>(t));
      const auto mark = static_cast<std::uint8_t>(t + 1);
      std::vector<std::pair<std::uint8_t*, std::size_t>> held;
      for (int round = 0; round < 3000 || !held.empty(); ++round) {
        if (round < 3000) {
          const std::size_t size = 1 + random() % (kLargestPooledBlock + 512);
          held.emplace_back(static_cast<std::uint8_t*>(LockedAllocatorBase::allocateBytes(size)), size);
          std::fill_n(held.back().first, size, mark);
        }
        if (held.size() > 16 || random() % 3 == 0 || round >= 3000) {
          const auto victim = held.begin() + static_cast<std::ptrdiff_t>(random() % held.size());
          damaged += std::any_of(victim->first, victim->first + victim->second, [&](auto b) { return b != mark; });
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
}

}  // namespace
}  // namespace QVCryptoService
