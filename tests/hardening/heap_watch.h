#pragma once

// HeapWatch sees every block handed out by operator new and by OpenSSL's allocator in this test
// binary (heap_watch.cc replaces both). While a watch is open it keeps a copy of each block as
// it is freed, which is what would stay behind in the heap, and remembers the blocks that were
// allocated during the watch and are still live when it closes. Search then tells whether any
// of those bytes holds a run of a secret. Memory that never passes through these allocators
// (SecureBlock's pages, the stack, the C library's own buffers) is outside its view.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace heapwatch {

struct Finding {
  bool stillLive;
  // Allocated by OpenSSL rather than by the library's own code.
  bool fromOpenSsl;
  std::size_t blockSize;
  std::size_t offset;
};

// HooksInstalled reports whether OpenSSL accepted the replacement allocator: it refuses once it
// has allocated anything.
bool HooksInstalled();

// Begin opens a watch, dropping what an earlier one kept.
void Begin();
// End closes the watch.
void End();

// RefuseAllocationsFrom makes operator new fail (std::bad_alloc) for every block of `size` bytes
// or more, as an exhausted heap would; 0 lifts the limit.
void RefuseAllocationsFrom(std::size_t size);

// Search returns every place in the blocks freed during the last watch, or allocated during it
// and still live, that holds `window` consecutive bytes of `secret`.
std::vector<Finding> Search(std::span<const std::uint8_t> secret, std::size_t window);

}  // namespace heapwatch
