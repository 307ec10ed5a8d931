#include <qvcryptoservice/secure_block.h>

#include "platform/locked_pages.h"
#include "primitives/locked_pool.h"
#include "primitives/secure_memory_hooks.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace QVCryptoService {

namespace {
ReleaseObserver g_releaseObserver = nullptr;

// A released block is overwritten once, with the 0xFF a wiped block holds. The empty assembly
// statement tells the compiler the bytes are read afterwards, so the fill is never dropped as a
// store to memory about to be freed. (SecureWipe's extra zero pass and read-back check are for
// its own callers; a block going back to locked pages needs neither.)
void FillReleasedBlock(void* data, std::size_t length) noexcept {
  std::memset(data, 0xFF, length);
  __asm__ __volatile__("" : : "r"(data) : "memory");
}

// Whether the first k bytes of a wiped block read back as 0xFF, k a fifth of the length clamped
// to 1..100.
bool ReadsBackWiped(const void* data, std::size_t length) noexcept {
  const auto fifth = static_cast<std::size_t>(static_cast<double>(length) * 0.2);
  const std::size_t checked = std::clamp<std::size_t>(fifth, 1, 100);
  const volatile auto* bytes = static_cast<const volatile std::uint8_t*>(data);
  bool allSet = true;
  for (std::size_t i = 0; i < checked && i < length; ++i) {
    allSet = allSet && bytes[i] == 0xFF;
  }
  return allSet;
}

bool FillAndCheck(void* data, std::size_t length) noexcept {
  FillReleasedBlock(data, length);
  return ReadsBackWiped(data, length);
}
}  // namespace

void SetReleaseObserverForTesting(ReleaseObserver observer) noexcept { g_releaseObserver = observer; }

bool SecureWipe(void* data, std::size_t length) noexcept {
  if (data == nullptr || length == 0) {
    return false;
  }
  // OPENSSL_cleanse cannot be optimised away; the 0xFF fill is read back below, so it stays too.
  OPENSSL_cleanse(data, length);
  std::memset(data, 0xFF, length);
  return ReadsBackWiped(data, length);
}

void* LockedAllocatorBase::allocateBytes(std::size_t size) {
  if (size == 0) {
    return nullptr;
  }
  if (size <= kLargestPooledBlock) {
    // Pooled blocks were wiped when they went back, and fresh pool pages when they were taken.
    void* block = TakePooledBlock(size);
    if (block == nullptr) {
      throw std::bad_alloc();
    }
    return block;
  }
  const std::size_t mapping = LargeBlockMapping(size);
  if (mapping == 0) {
    throw std::bad_alloc();
  }
  if (void* kept = TakeKeptPages(mapping)) {
    return kept;
  }
  void* pages = platform::AllocateLockedPages(mapping);
  // Fresh pages read as zeros and are filled once. A block that does not hold what is written to
  // it cannot be wiped either; refuse it rather than hand out storage whose secrets might survive
  // release.
  if (pages == nullptr || !FillAndCheck(pages, mapping)) {
    if (pages != nullptr) {
      platform::ReleaseLockedPages(pages, mapping);
    }
    throw std::bad_alloc();
  }
  return pages;
}

void LockedAllocatorBase::releaseBytes(void* data, std::size_t size) noexcept {
  if (data == nullptr) {
    return;
  }
  FillReleasedBlock(data, size);
  if (g_releaseObserver != nullptr) {
    g_releaseObserver(data, size);
  }
  if (size <= kLargestPooledBlock) {
    ReturnPooledBlock(data, size);
    return;
  }
  const std::size_t mapping = LargeBlockMapping(size);
  if (!KeepReleasedPages(data, mapping)) {
    platform::ReleaseLockedPages(data, mapping);
  }
}

}  // namespace QVCryptoService
