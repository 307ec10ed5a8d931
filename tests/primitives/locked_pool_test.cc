// The pool behind small SecureBlocks: blocks are reused, wiped to 0xFF on release (including the
// bytes no caller used), locked, kept out of core dumps, and safe to share between threads (a
// thread's cached blocks go back when it ends); large blocks keep pages of their own.

#include <qvcryptoservice/secure_block.h>

#include "platform/locked_pages.h"
#include "primitives/locked_pool.h"
#include "primitives/secure_memory_hooks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace QVCryptoService {
namespace {

bool AllFF(const void* data, std::size_t size) {
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  return std::all_of(bytes, bytes + size, [](std::uint8_t b) { return b == 0xFF; });
}

// The VmFlags line of the mapping that holds `address`, or "" where /proc/self/smaps is absent.
std::string MappingFlags(const void* address) {
  std::ifstream smaps("/proc/self/smaps");
  const auto target = reinterpret_cast<std::uintptr_t>(address);
  bool inMapping = false;
  std::string line;
  while (std::getline(smaps, line)) {
    unsigned long start = 0;
    unsigned long end = 0;
    char dash = 0;
    std::istringstream fields(line);
    if (line.find('-') < line.find(' ') && (fields >> std::hex >> start >> dash >> end) && dash == '-') {
      inMapping = target >= start && target < end;
    } else if (inMapping && line.rfind("VmFlags:", 0) == 0) {
      return line;
    }
  }
  return "";
}

struct Release {
  const void* data;
  std::size_t size;
  bool allFF;
};
std::vector<Release> g_releases;
void RecordRelease(const void* data, std::size_t size) { g_releases.push_back({data, size, AllFF(data, size)}); }

class LockedPool : public testing::Test {
 protected:
  void SetUp() override {
    g_releases.clear();
    SetReleaseObserverForTesting(&RecordRelease);
  }
  void TearDown() override { SetReleaseObserverForTesting(nullptr); }
};

TEST_F(LockedPool, ReleasedBlockIsServedAgainForTheSameSizeClass) {
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
}

TEST_F(LockedPool, ReturnedBlockHoldsOnlyFFWholeBlockIncluded) {
  // 200 bytes come from a 256-byte block; the 56 bytes beyond the request must hold 0xFF too, so
  // nothing (no list pointer either) is left in a free block.
  const std::uint8_t* where = nullptr;
  {
    SecureBlock block(200, 0x5A);
    where = block.data();
  }
  ASSERT_EQ(g_releases.size(), 1U);
  EXPECT_EQ(g_releases[0].size, 200U);
  EXPECT_TRUE(g_releases[0].allFF);
  EXPECT_TRUE(AllFF(where, 256)) << "the pooled block still holds something after release";
}

TEST_F(LockedPool, NewBlocksHoldFFWhateverTheSize) {
  for (const std::size_t size : {std::size_t{1}, std::size_t{16}, std::size_t{17}, std::size_t{4096},
                                 kLargestPooledBlock, kLargestPooledBlock + 1, std::size_t{1} << 20}) {
    void* block = LockedAllocatorBase::allocateBytes(size);
    ASSERT_NE(block, nullptr) << size;
    EXPECT_TRUE(AllFF(block, size)) << size;
    std::memset(block, 0x42, size);
    LockedAllocatorBase::releaseBytes(block, size);
  }
  for (const Release& release : g_releases) {
    EXPECT_TRUE(release.allFF) << release.size;
  }
}

TEST_F(LockedPool, PooledAndLargeBlocksAreLockedAndLeftOutOfCoreDumps) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the sanitizers intercept mlock and make it a no-op";
#endif
  if (!platform::PageLocksAreObservable()) {
    GTEST_SKIP() << "Wine locks the pages but never reports them as locked";
  }
  const SecureBlock small(32, 1);
  const SecureBlock large(kLargestPooledBlock * 2, 2);
  for (const SecureBlock* block : {&small, &large}) {
    EXPECT_TRUE(platform::IsPageLocked(block->data())) << block->size();
    const std::string flags = MappingFlags(block->data());
    if (!flags.empty()) {
      EXPECT_NE(flags.find(" dd"), std::string::npos) << block->size() << ": " << flags;
    }
  }
  const std::vector<std::uint8_t> ordinary(32);
  EXPECT_FALSE(platform::IsPageLocked(ordinary.data()));
}

TEST_F(LockedPool, LargeBlocksGetPagesOfTheirOwnAndGiveThemBack) {
  const std::size_t size = kLargestPooledBlock + 1;
  const SecureBlock first(size, 7);
  const SecureBlock second(size, 8);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(first.data()) % 4096, 0U);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(second.data()) % 4096, 0U);
  EXPECT_GE(static_cast<std::size_t>(std::abs(second.data() - first.data())), size);
}

TEST(LockedPoolThreads, BlocksCachedByAThreadGoBackWhenItEnds) {
  constexpr std::size_t kSize = 48;
  std::vector<void*> released;
  std::thread([&released] {
    std::vector<void*> held;
    for (int i = 0; i < 12; ++i) {
      held.push_back(LockedAllocatorBase::allocateBytes(kSize));
    }
    for (void* block : held) {
      LockedAllocatorBase::releaseBytes(block, kSize);
    }
    released = held;
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
    EXPECT_TRUE(AllFF(block, kSize));
    LockedAllocatorBase::releaseBytes(block, kSize);
  }
}

TEST(LockedPoolThreads, BlocksAreNeverSharedBetweenLiveOwners) {
  constexpr int kThreads = 8;
  constexpr int kRounds = 3000;
  std::atomic<int> damaged{0};
  std::atomic<int> unwiped{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t, &damaged, &unwiped] {
      std::mt19937 random(static_cast<std::uint32_t>(t));
      const auto mark = static_cast<std::uint8_t>(t + 1);
      struct Held {
        std::uint8_t* data;
        std::size_t size;
      };
      std::vector<Held> held;
      const auto holdsOnly = [](const Held& block, std::uint8_t value) {
        return std::all_of(block.data, block.data + block.size, [value](std::uint8_t b) { return b == value; });
      };
      for (int round = 0; round < kRounds || !held.empty(); ++round) {
        if (round < kRounds) {
          const std::size_t size = 1 + random() % (kLargestPooledBlock + 512);
          const Held block{static_cast<std::uint8_t*>(LockedAllocatorBase::allocateBytes(size)), size};
          if (!holdsOnly(block, 0xFF)) {
            ++unwiped;
          }
          std::fill(block.data, block.data + block.size, mark);
          held.push_back(block);
        }
        if (held.size() > 16 || random() % 3 == 0 || round >= kRounds) {
          const std::size_t victim = random() % held.size();
          if (!holdsOnly(held[victim], mark)) {
            ++damaged;
          }
          LockedAllocatorBase::releaseBytes(held[victim].data, held[victim].size);
          held.erase(held.begin() + static_cast<std::ptrdiff_t>(victim));
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
