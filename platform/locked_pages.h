#pragma once

#include <cstddef>

namespace QVCryptoService::platform {

// AllocateLockedPages returns `size` bytes of fresh, page-aligned read-write memory that the
// system is asked to keep out of swap and out of core dumps. Locking is best effort (it fails
// past the process's lock limit and that is accepted). Returns null when no pages could be had.
void* AllocateLockedPages(std::size_t size) noexcept;

// ReleaseLockedPages unlocks and returns pages obtained from AllocateLockedPages. The caller
// wipes them first.
void ReleaseLockedPages(void* pages, std::size_t size) noexcept;

// IsPageLocked reports whether the page holding `address` is currently locked in memory.
// Diagnostics and tests only: it walks the process's memory map.
bool IsPageLocked(const void* address) noexcept;

// PageLocksAreObservable reports whether IsPageLocked can see a lock on this system at all. It is
// false under Wine, which locks the pages but never reports them as locked.
bool PageLocksAreObservable() noexcept;

}  // namespace QVCryptoService::platform
