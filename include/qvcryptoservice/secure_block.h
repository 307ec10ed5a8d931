#pragma once

#include <qvcryptoservice/qvcs_export.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <vector>

namespace QVCryptoService {

// SecureWipe overwrites `length` bytes at `data` with 0x00 and then with 0xFF (a wiped buffer
// holds 0xFF, not zeros), and returns true when the first k bytes read back as 0xFF, where k is
// a fifth of the length clamped to 1..100. A zero length checks nothing and returns false.
QVCS_EXPORT bool SecureWipe(void* data, std::size_t length) noexcept;

// LockedAllocatorBase is the untyped storage behind LockedAllocator.
class QVCS_EXPORT LockedAllocatorBase {
 public:
  // allocateBytes returns locked storage holding `size` bytes (filled with 0xFF), or null for a
  // size of 0. Throws std::bad_alloc when no locked storage could be had, so secrets never fall
  // back to ordinary heap memory.
  static void* allocateBytes(std::size_t size);
  // releaseBytes wipes the block (it holds 0xFF afterwards, as after SecureWipe) and gives it
  // back: small blocks to a pool of locked pages kept for secrets, larger ones unlocked to the
  // system.
  static void releaseBytes(void* data, std::size_t size) noexcept;
};

// LockedAllocator hands out locked memory that is left out of core dumps and wiped before it is
// released. Small blocks share pages set aside for secrets (never the general heap's); large
// ones get pages of their own. No secret shares a page with ordinary heap data.
template <typename T>
class LockedAllocator : private LockedAllocatorBase {
 public:
  using value_type = T;

  LockedAllocator() noexcept = default;
  template <typename U>
  explicit LockedAllocator(const LockedAllocator<U>& /*other*/) noexcept {}

  T* allocate(std::size_t count) {
    if (count > max_size()) {
      throw std::bad_array_new_length();
    }
    return static_cast<T*>(allocateBytes(count * sizeof(T)));
  }

  void deallocate(T* data, std::size_t count) noexcept { releaseBytes(data, count * sizeof(T)); }

  static constexpr std::size_t max_size() noexcept {
    return static_cast<std::size_t>(std::numeric_limits<std::ptrdiff_t>::max()) / sizeof(T);
  }

  template <typename U>
  bool operator==(const LockedAllocator<U>& /*other*/) const noexcept {
    return true;
  }
};

// SecureBlock is the byte vector that carries keys, passwords and secret plain texts. It offers
// the ordinary vector operations; its storage is locked and wiped on release.
using SecureBlock = std::vector<std::uint8_t, LockedAllocator<std::uint8_t>>;

}  // namespace QVCryptoService
