#include "primitives/locked_pool.h"

#include <qvcryptoservice/secure_block.h>

#include "platform/locked_pages.h"

#include <array>
#include <bit>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>
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
  void* take(std::size_t blockSize) noexcept {
    const std::lock_guard lock(mutex_);
    if (free_.empty() && !grow(blockSize)) {
      return nullptr;
    }
    void* block = free_.back();
    free_.pop_back();
    return block;
  }

  void give(void* block) noexcept {
    const std::lock_guard lock(mutex_);
    free_.push_back(block);
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

}  // namespace

void* TakePooledBlock(std::size_t size) noexcept {
  const std::size_t sizeClass = ClassOf(size);
  return Pool()[sizeClass].take(BlockSizeOf(sizeClass));
}

void ReturnPooledBlock(void* block, std::size_t size) noexcept { Pool()[ClassOf(size)].give(block); }

}  // namespace QVCryptoService
