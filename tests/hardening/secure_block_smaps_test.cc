// What a caller may rely on for the bytes of a SecureBlock on Linux, read from the kernel's own
// account in /proc/self/smaps rather than from the allocator: every page that holds them, in the
// pool or in pages of a large block's own, is marked "dd" (left out of core dumps) and, when the
// process may lock memory at all, locked ("lo" in VmFlags, a non-zero Locked: size).

#include <qvcryptoservice/secure_block.h>

#include "primitives/locked_pool.h"

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace QVCryptoService {
namespace {

struct Mapping {
  std::uintptr_t start = 0;
  std::uintptr_t end = 0;
  std::size_t lockedKb = 0;
  std::vector<std::string> flags;

  bool Has(const std::string& flag) const { return std::find(flags.begin(), flags.end(), flag) != flags.end(); }
};

// MappingOf returns the smaps entry of the mapping that holds `address`.
std::optional<Mapping> MappingOf(const void* address) {
  const auto target = reinterpret_cast<std::uintptr_t>(address);
  std::ifstream smaps("/proc/self/smaps");
  std::string line;
  std::optional<Mapping> current;
  while (std::getline(smaps, line)) {
    unsigned long start = 0;
    unsigned long end = 0;
    char dash = 0;
    std::istringstream header(line);
    if (header >> std::hex >> start >> dash >> end && dash == '-' && line.find(':') > line.find(' ')) {
      if (current && current->start <= target && target < current->end) {
        return current;
      }
      current = Mapping{start, end, 0, {}};
      continue;
    }
    if (!current) {
      continue;
    }
    std::istringstream field(line);
    std::string name;
    field >> name;
    if (name == "Locked:") {
      field >> current->lockedKb;
    } else if (name == "VmFlags:") {
      std::string flag;
      while (field >> flag) {
        current->flags.push_back(flag);
      }
    }
  }
  if (current && current->start <= target && target < current->end) {
    return current;
  }
  return std::nullopt;
}

// The process may lock memory when locking a page of its own succeeds: within RLIMIT_MEMLOCK or
// with the privilege to exceed it.
bool ProcessMayLockMemory() {
  const long pageSize = ::sysconf(_SC_PAGESIZE);
  void* page =
      ::mmap(nullptr, static_cast<std::size_t>(pageSize), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (page == MAP_FAILED) {
    return false;
  }
  const bool locked = ::mlock(page, static_cast<std::size_t>(pageSize)) == 0 && MappingOf(page)->lockedKb > 0;
  (void)::munlock(page, static_cast<std::size_t>(pageSize));
  (void)::munmap(page, static_cast<std::size_t>(pageSize));
  return locked;
}

// Every page from the block's first byte to its last.
std::vector<const std::uint8_t*> PagesOf(const SecureBlock& block) {
  const auto pageSize = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
  std::vector<const std::uint8_t*> pages;
  const auto first = reinterpret_cast<std::uintptr_t>(block.data()) & ~(pageSize - 1);
  const auto last = reinterpret_cast<std::uintptr_t>(block.data() + block.size() - 1);
  for (std::uintptr_t page = first; page <= last; page += pageSize) {
    pages.push_back(reinterpret_cast<const std::uint8_t*>(page));
  }
  return pages;
}

class SecureBlockPages : public testing::TestWithParam<std::size_t> {};

TEST_P(SecureBlockPages, AreLeftOutOfCoreDumpsAndLockedWhenLockingIsAllowed) {
  const SecureBlock block(GetParam(), 0x5A);
  const bool mayLock = ProcessMayLockMemory();
  rlimit limit{};
  ASSERT_EQ(::getrlimit(RLIMIT_MEMLOCK, &limit), 0);
  for (const std::uint8_t* page : PagesOf(block)) {
    const std::optional<Mapping> mapping = MappingOf(page);
    ASSERT_TRUE(mapping.has_value()) << "no mapping holds the block's page at " << static_cast<const void*>(page);
    EXPECT_TRUE(mapping->Has("dd")) << "the page at " << static_cast<const void*>(page) << " may appear in a core dump";
    if (mayLock) {
      EXPECT_TRUE(mapping->Has("lo")) << "the page at " << static_cast<const void*>(page) << " is not locked";
      EXPECT_GT(mapping->lockedKb, 0U) << "smaps counts nothing locked in the block's mapping";
    }
  }
  if (!mayLock) {
    std::printf(
        "note: a page this process locks does not show as locked (RLIMIT_MEMLOCK %llu bytes, or a "
        "sanitizer runtime that makes mlock a no-op); only the core dump exclusion was checked\n",
        static_cast<unsigned long long>(limit.rlim_cur));
  }
}

INSTANTIATE_TEST_SUITE_P(Sizes, SecureBlockPages,
                         testing::Values(1, 32, 4096, 3 * 4096 + 17, 2 * kLargestPooledBlock + 17));

// The check must tell secret pages from ordinary ones, or it proves nothing.
TEST(SecureBlockPagesControl, OrdinaryHeapMemoryIsNeitherLockedNorExcludedFromCoreDumps) {
  const std::vector<std::uint8_t> ordinary(64, 0x5A);
  const std::optional<Mapping> mapping = MappingOf(ordinary.data());
  ASSERT_TRUE(mapping.has_value());
  EXPECT_FALSE(mapping->Has("dd"));
  EXPECT_FALSE(mapping->Has("lo"));
  EXPECT_EQ(mapping->lockedKb, 0U);
}

}  // namespace
}  // namespace QVCryptoService
