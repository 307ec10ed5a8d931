#include "primitives/locked_pool.h"

#include <qvcryptoservice/secure_block.h>

#include "platform/locked_pages.h"
#include "platform/thread_slot.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

namespace QVCryptoService {
namespace {

constexpr std::size_t kSmallestBlock = 16;
constexpr std::size_t kClassCount = std::countr_zero(kLargestPooledBlock) - std::countr_zero(kSmallestBlock) + 1;
// Pages are taken from the system this many bytes at a time and cut into blocks of one class.
constexpr std::size_t kChunkSize = std::size_t{64} << 10;

static_assert(std::has_single_bit(kLargestPooledBlock) && kChunkSize % kLargestPooledBlock == 0);

std::size_t ClassOf(std::size_t size) {
  const std::size_t block = std::bit_ceil(size < kSmallestBlock ? kSmallestBlock : size);
  return static_cast<std::size_t>(std::countr_zero(block) - std::countr_zero(kSmallestBlock));
}

std::size_t BlockSizeOf(std::size_t sizeClass) { return kSmallestBlock << sizeClass; }

// One size class: the addresses of its free blocks. The list's capacity always covers every
// block the class owns, so returning a block never allocates.
class SizeClass {
 public:
  // takeSome moves up to `wanted` free blocks into `out` and returns how many it moved; 0 only
  // when no locked pages could be had.
  std::size_t takeSome(std::size_t blockSize, void** out, std::size_t wanted) noexcept {
    const std::lock_guard lock(mutex_);
    if (free_.empty() && !grow(blockSize)) {
      return 0;
    }
    std::size_t moved = 0;
    for (; moved < wanted && !free_.empty(); ++moved) {
      out[moved] = free_.back();
      free_.pop_back();
    }
    return moved;
  }

  void giveSome(void* const* blocks, std::size_t count) noexcept {
    const std::lock_guard lock(mutex_);
    for (std::size_t i = 0; i < count; ++i) {
      free_.push_back(blocks[i]);
    }
  }

 private:
  bool grow(std::size_t blockSize) noexcept {
    const std::size_t count = kChunkSize / blockSize;
    try {
      free_.reserve(owned_ + count);
    } catch (const std::bad_alloc&) {
      return false;
    }
    auto* chunk = static_cast<std::uint8_t*>(platform::AllocateLockedPages(kChunkSize));
    // Fresh pages read as zeros; a free block holds 0xFF like every wiped one, and pages that do
    // not keep what is written to them are not used for secrets at all.
    if (chunk == nullptr || !SecureWipe(chunk, kChunkSize)) {
      if (chunk != nullptr) {
        platform::ReleaseLockedPages(chunk, kChunkSize);
      }
      return false;
    }
    for (std::size_t i = count; i > 0; --i) {
      free_.push_back(chunk + (i - 1) * blockSize);
    }
    owned_ += count;
    return true;
  }

  std::mutex mutex_;
  std::vector<void*> free_;
  std::size_t owned_ = 0;
};

using Classes = std::array<SizeClass, kClassCount>;

// The pool is never destroyed: SecureBlocks in static objects may be released after any static
// destructor has run, and the pages must stay set aside for secrets until the process ends.
Classes& Pool() {
  static Classes* const pool = std::make_unique<Classes>().release();
  return *pool;
}

// Each thread keeps a few free blocks of every class, so that a thread that takes and returns
// blocks does not touch the shared lists (and their lock) on every call; it moves half a cache
// at a time to or from them. The cache only ever holds wiped blocks of the pool.
constexpr std::size_t kCacheDepth = 16;

struct CachedBlocks {
  std::array<std::array<void*, kCacheDepth>, kClassCount> blocks{};
  std::array<std::size_t, kClassCount> counts{};
};

// Set in a thread's slot once its cache has gone back, so that blocks released later on that
// thread (by other thread-exit code) go straight to the shared lists.
CachedBlocks g_closedMarker;

// At thread exit the thread's cached blocks go back to the shared lists. The cache lives on the
// heap and is found through the system's thread slot rather than a C++ thread_local, whose
// storage some runtimes release before other thread-exit code has run.
void FlushAtThreadExit(void* value);

const platform::ThreadSlot& CacheSlot() {
  static const platform::ThreadSlot* const slot = std::make_unique<platform::ThreadSlot>(&FlushAtThreadExit).release();
  return *slot;
}

void FlushAtThreadExit(void* value) {
  if (value == nullptr || value == &g_closedMarker) {
    return;
  }
  const std::unique_ptr<CachedBlocks> cache(static_cast<CachedBlocks*>(value));
  for (std::size_t sizeClass = 0; sizeClass < kClassCount; ++sizeClass) {
    Pool()[sizeClass].giveSome(cache->blocks[sizeClass].data(), cache->counts[sizeClass]);
  }
  CacheSlot().set(&g_closedMarker);
}

// The calling thread's cache, made on first use; null when the thread's cache has gone back or
// none can be had (the shared lists serve the thread directly then).
CachedBlocks* ThreadCache() noexcept {
  const platform::ThreadSlot& slot = CacheSlot();
  if (!slot.valid()) {
    return nullptr;
  }
  void* value = slot.get();
  if (value == &g_closedMarker) {
    return nullptr;
  }
  if (value == nullptr) {
    try {
      value = std::make_unique<CachedBlocks>().release();
    } catch (const std::bad_alloc&) {
      return nullptr;
    }
    slot.set(value);
  }
  return static_cast<CachedBlocks*>(value);
}

}  // namespace

void* TakePooledBlock(std::size_t size) noexcept {
  const std::size_t sizeClass = ClassOf(size);
  CachedBlocks* cache = ThreadCache();
  if (cache == nullptr) {
    void* block = nullptr;
    return Pool()[sizeClass].takeSome(BlockSizeOf(sizeClass), &block, 1) == 1 ? block : nullptr;
  }
  std::size_t& count = cache->counts[sizeClass];
  if (count == 0) {
    count = Pool()[sizeClass].takeSome(BlockSizeOf(sizeClass), cache->blocks[sizeClass].data(), kCacheDepth / 2);
    if (count == 0) {
      return nullptr;
    }
  }
  return cache->blocks[sizeClass][--count];
}

void ReturnPooledBlock(void* block, std::size_t size) noexcept {
  const std::size_t sizeClass = ClassOf(size);
  CachedBlocks* cache = ThreadCache();
  if (cache == nullptr) {
    Pool()[sizeClass].giveSome(&block, 1);
    return;
  }
  std::size_t& count = cache->counts[sizeClass];
  if (count == kCacheDepth) {
    // Hand the older half back; the newest blocks stay, still warm in this core's cache.
    Pool()[sizeClass].giveSome(cache->blocks[sizeClass].data(), kCacheDepth / 2);
    std::copy(cache->blocks[sizeClass].begin() + kCacheDepth / 2, cache->blocks[sizeClass].end(),
              cache->blocks[sizeClass].begin());
    count = kCacheDepth / 2;
  }
  cache->blocks[sizeClass][count++] = block;
}

namespace {

struct KeptPages {
  void* pages = nullptr;
  std::size_t mapping = 0;
};

struct KeptLargeBlocks {
  std::mutex mutex;
  std::array<KeptPages, kKeptBlocks> kept{};
};

// Never destroyed, like the pool: large blocks may be released after any static destructor.
KeptLargeBlocks* LargeBlocks() noexcept {
  static KeptLargeBlocks* const blocks = new (std::nothrow) KeptLargeBlocks();
  return blocks;
}

}  // namespace

std::size_t LargeBlockMapping(std::size_t size) noexcept {
  if (size > static_cast<std::size_t>(-1) - kLargeBlockStep) {
    return 0;
  }
  return (size + kLargeBlockStep - 1) / kLargeBlockStep * kLargeBlockStep;
}

void* TakeKeptPages(std::size_t mapping) noexcept {
  KeptLargeBlocks* blocks = LargeBlocks();
  if (blocks == nullptr || mapping > kLargestKeptBlock) {
    return nullptr;
  }
  const std::lock_guard lock(blocks->mutex);
  for (KeptPages& entry : blocks->kept) {
    if (entry.pages != nullptr && entry.mapping == mapping) {
      return std::exchange(entry.pages, nullptr);
    }
  }
  return nullptr;
}

bool KeepReleasedPages(void* pages, std::size_t mapping) noexcept {
  KeptLargeBlocks* blocks = LargeBlocks();
  if (blocks == nullptr || mapping > kLargestKeptBlock) {
    return false;
  }
  const std::lock_guard lock(blocks->mutex);
  for (KeptPages& entry : blocks->kept) {
    if (entry.pages == nullptr) {
      entry = {pages, mapping};
      return true;
    }
  }
  return false;
}

}  // namespace QVCryptoService
