#pragma once

// Small SecureBlocks come from a pool of locked pages instead of each taking pages of its own:
// mapping, locking and unmapping pages for every key and IV cost more than the cryptography
// they carry. The pool's pages are obtained like any other locked storage (locked, left out of
// core dumps) and are only ever used for secrets: a block goes back to the pool wiped, and the
// pages are never unmapped or handed to the general heap.

#include <cstddef>

namespace QVCryptoService {

// kLargestPooledBlock is the largest request the pool serves; larger ones get pages of their own.
constexpr std::size_t kLargestPooledBlock = 16384;

// TakePooledBlock returns a block of at least `size` bytes (1 to kLargestPooledBlock) holding
// 0xFF, or null when no locked pages could be had. Safe from any thread.
void* TakePooledBlock(std::size_t size) noexcept;

// ReturnPooledBlock takes back a block that TakePooledBlock returned for the same `size`. The
// caller wipes its first `size` bytes to 0xFF first; the rest of the block was never handed out
// and still holds 0xFF.
void ReturnPooledBlock(void* block, std::size_t size) noexcept;

// Larger blocks keep pages of their own, mapped in whole steps of kLargeBlockStep. Mapping a
// megabyte, locking it (which faults it in page by page) and unmapping it again cost more than
// decrypting it, so the pages of the last few released large blocks (kLargestKeptBlock at most,
// kKeptBlocks of them) are kept, wiped and still locked, for the next block of the same mapping
// size. Like the pool's chunks they stay set aside for secrets; the bound keeps what they hold
// of the process's lock limit small (unlocking them while kept and locking them again costs as
// much as fresh pages).
constexpr std::size_t kLargeBlockStep = std::size_t{64} << 10;
constexpr std::size_t kLargestKeptBlock = std::size_t{2} << 20;
constexpr std::size_t kKeptBlocks = 2;

// LargeBlockMapping is the mapping size for a block of `size` bytes (above kLargestPooledBlock),
// or 0 when no mapping can be that large.
std::size_t LargeBlockMapping(std::size_t size) noexcept;

// TakeKeptPages returns kept pages of exactly `mapping` bytes, all holding 0xFF, or null.
void* TakeKeptPages(std::size_t mapping) noexcept;

// KeepReleasedPages keeps `pages` (wiped by the caller to 0xFF wherever they were handed out)
// for a later block, or returns false when they are not kept and go back to the system.
bool KeepReleasedPages(void* pages, std::size_t mapping) noexcept;

}  // namespace QVCryptoService
