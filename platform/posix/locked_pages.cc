#include "platform/locked_pages.h"

#include <sys/mman.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

namespace QVCryptoService::platform {

void* AllocateLockedPages(std::size_t size) noexcept {
  void* pages = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (pages == MAP_FAILED) {
    return nullptr;
  }
  // Both are best effort: mlock fails past RLIMIT_MEMLOCK, and the memory is still usable.
  (void)mlock(pages, size);
  (void)madvise(pages, size, MADV_DONTDUMP);
  return pages;
}

void ReleaseLockedPages(void* pages, std::size_t size) noexcept {
  (void)munlock(pages, size);
  (void)munmap(pages, size);
}

bool IsPageLocked(const void* address) noexcept {
  FILE* smaps = std::fopen("/proc/self/smaps", "r");
  if (smaps == nullptr) {
    return false;
  }
  const auto target = reinterpret_cast<std::uintptr_t>(address);
  bool inMapping = false;
  bool locked = false;
  char line[512];
  while (std::fgets(line, sizeof line, smaps) != nullptr) {
    unsigned long start = 0;
    unsigned long end = 0;
    if (std::sscanf(line, "%lx-%lx ", &start, &end) == 2 && std::strchr(line, '-') < std::strchr(line, ' ')) {
      inMapping = target >= start && target < end;
      continue;
    }
    unsigned long lockedKb = 0;
    if (inMapping && std::sscanf(line, "Locked: %lu kB", &lockedKb) == 1) {
      locked = lockedKb > 0;
      break;
    }
  }
  std::fclose(smaps);
  return locked;
}

bool PageLocksAreObservable() noexcept { return true; }

}  // namespace QVCryptoService::platform
