#pragma once

// HeapWatch sees every block handed out by operator new and by OpenSSL's allocator in this test
// binary (heap_watch.cc replaces both). While a watch is open it keeps a copy of each block as it
// is freed, which is what would stay behind in the heap, and of each block allocated during the
// watch and still live when it closes. SecureBlock's pages and the stack are outside its view.

#include <cstddef>
#include <cstdint>
#include <span>

namespace heapwatch {

// HooksInstalled reports whether OpenSSL accepted the replacement allocator: it refuses once it
// has allocated anything.
bool HooksInstalled();
// Begin opens a watch, dropping what an earlier one kept; End closes it.
void Begin();
void End();
// RefuseAllocationsFrom makes operator new throw std::bad_alloc for every block of `size` bytes
// or more, as an exhausted heap would; 0 lifts the limit.
void RefuseAllocationsFrom(std::size_t size);
// CopiesOf counts the kept blocks that hold `window` consecutive bytes of `secret`, leaving out
// those OpenSSL allocated unless `countOpenSsl`.
std::size_t CopiesOf(std::span<const std::uint8_t> secret, std::size_t window, bool countOpenSsl);

}  // namespace heapwatch
