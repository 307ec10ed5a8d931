#pragma once

// HeapWatch sees every block handed out by operator new and by OpenSSL's allocator in this test
// binary (heap_watch.cc replaces both). While a watch is open it keeps a copy of each block as it
// is freed, which is what would stay behind in the heap, and of each block allocated during the
// watch and still live when it closes. SecureBlock's pages and the stack are outside its view.

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace heapwatch {

struct Finding {
  bool stillLive;
  bool fromOpenSsl;  // allocated by OpenSSL rather than by the library's own code
  std::size_t blockSize;
};

// HooksInstalled reports whether OpenSSL accepted the replacement allocator: it refuses once it
// has allocated anything.
bool HooksInstalled();
// Begin opens a watch, dropping what an earlier one kept; End closes it.
void Begin();
void End();
// RefuseAllocationsFrom makes operator new throw std::bad_alloc for every block of `size` bytes
// or more, as an exhausted heap would; 0 lifts the limit.
void RefuseAllocationsFrom(std::size_t size);
// Search returns every kept block that holds `window` consecutive bytes of `secret`.
std::vector<Finding> Search(std::span<const std::uint8_t> secret, std::size_t window);

}  // namespace heapwatch
