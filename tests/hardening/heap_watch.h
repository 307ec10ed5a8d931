#pragma once

// Keeps a copy of each heap block freed during a watch, and of each allocated during it and still
// live at its end; operator new and OpenSSL's allocator only, not SecureBlock's pages.

#include <cstddef>
#include <cstdint>
#include <span>

namespace heapwatch {

// Whether OpenSSL accepted the replacement allocator, which it refuses once it has allocated.
bool HooksInstalled();
// Begin opens a watch, dropping what an earlier one kept; End closes it.
void Begin();
void End();
// Makes operator new throw std::bad_alloc from `size` bytes up; 0 lifts the limit.
void RefuseAllocationsFrom(std::size_t size);
// The kept blocks holding `window` consecutive bytes of `secret` (OpenSSL's only if `countOpenSsl`).
std::size_t CopiesOf(std::span<const std::uint8_t> secret, std::size_t window, bool countOpenSsl);

}  // namespace heapwatch
