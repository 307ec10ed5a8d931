// By /proc/self/smaps, a SecureBlock's pages are left out of core dumps and locked when allowed.

#include <qvcryptoservice/secure_block.h>

#include "primitives/locked_pool.h"

#include <sys/mman.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

namespace QVCryptoService {
namespace {

// The VmFlags of the mapping holding `address`, each followed by a space; empty if none.
std::string FlagsOf(const void* address) {
  const auto target = reinterpret_cast<std::uintptr_t>(address);
  std::ifstream smaps("/proc/self/smaps");
  bool holds = false;
  std::string line;
  while (std::getline(smaps, line)) {
    unsigned long start = 0;
    unsigned long end = 0;
    if (std::sscanf(line.c_str(), "%lx-%lx ", &start, &end) == 2 && line.find(':') > line.find(' ')) {
      holds = start <= target && target < end;
    } else if (holds && line.rfind("VmFlags:", 0) == 0) {
      return line.substr(line.find(' ') + 1) + " ";
    }
  }
  return "";
}

bool Has(const std::string& flags, const char* flag) {
  return flags.find(std::string(flag) + " ") != std::string::npos;
}

// Whether locking a page of its own shows as locked (a sanitizer runtime makes mlock a no-op).
bool ProcessMayLockMemory() {
  const auto pageSize = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
  void* page = ::mmap(nullptr, pageSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  const bool locked = page != MAP_FAILED && ::mlock(page, pageSize) == 0 && Has(FlagsOf(page), "lo");
  (void)::munmap(page, pageSize);
  return locked;
}

// Ordinary heap memory is neither locked nor undumped, or the check proves nothing.
TEST(SecureBlockPages, AreLeftOutOfCoreDumpsAndLockedWhenLockingIsAllowed) {
  const std::string ordinary = FlagsOf(std::vector<std::uint8_t>(64, 0x5A).data());
  ASSERT_FALSE(ordinary.empty());
  EXPECT_FALSE(Has(ordinary, "dd") || Has(ordinary, "lo")) << ordinary;
  const bool mayLock = ProcessMayLockMemory();
  const auto pageSize = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
  for (const std::size_t size :
       {std::size_t{1}, std::size_t{4096}, std::size_t{3 * 4096 + 17}, 2 * kLargestPooledBlock + 17}) {
    const SecureBlock block(size, 0x5A);
    const auto last = reinterpret_cast<std::uintptr_t>(block.data() + block.size() - 1);
    for (auto page = reinterpret_cast<std::uintptr_t>(block.data()) & ~(pageSize - 1); page <= last; page += pageSize) {
      const std::string flags = FlagsOf(reinterpret_cast<const void*>(page));
      EXPECT_TRUE(Has(flags, "dd")) << size << ": the page at " << page << " may appear in a core dump: " << flags;
      EXPECT_TRUE(!mayLock || Has(flags, "lo")) << size << ": the page at " << page << " is not locked: " << flags;
    }
  }
}

}  // namespace
}  // namespace QVCryptoService
