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

}  // namespace QVCryptoService
