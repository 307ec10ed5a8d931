#include "tests/hardening/heap_watch.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

namespace heapwatch {
namespace {

// In front of every block. Live blocks form a list; kept copies (graves) another, made with malloc.
struct alignas(16) Header {
  std::size_t size;
  Header* previous;
  Header* next;
  bool watched;
  bool fromOpenSsl;
};

std::uint8_t* Payload(Header* header) { return reinterpret_cast<std::uint8_t*>(header + 1); }

std::mutex g_lock;
Header* g_live = nullptr;
Header* g_graves = nullptr;
bool g_watching = false;
bool g_hooksInstalled = false;
std::atomic<std::size_t> g_refusedFrom{0};

void Bury(Header* header) {
  auto* grave = static_cast<Header*>(std::malloc(sizeof(Header) + header->size));
  if (grave == nullptr) {
    std::abort();
  }
  *grave = {header->size, nullptr, g_graves, false, header->fromOpenSsl};
  std::memcpy(Payload(grave), Payload(header), header->size);
  g_graves = grave;
}

void* Allocate(std::size_t size, bool fromOpenSsl) {
  auto* header = static_cast<Header*>(std::malloc(sizeof(Header) + size));
  if (header == nullptr) {
    return nullptr;
  }
  const std::lock_guard locked(g_lock);
  *header = {size, nullptr, g_live, g_watching, fromOpenSsl};
  if (g_live != nullptr) {
    g_live->previous = header;
  }
  g_live = header;
  return Payload(header);
}

void Release(void* payload) {
  if (payload == nullptr) {
    return;
  }
  Header* header = static_cast<Header*>(payload) - 1;
  {
    const std::lock_guard locked(g_lock);
    if (g_watching) {
      Bury(header);
    }
    (header->previous != nullptr ? header->previous->next : g_live) = header->next;
    if (header->next != nullptr) {
      header->next->previous = header->previous;
    }
  }
  std::memset(payload, 0, header->size);
  std::free(header);
}

void* OpenSslMalloc(std::size_t size, const char*, int) { return Allocate(size, true); }
void OpenSslFree(void* payload, const char*, int) { Release(payload); }
void* OpenSslRealloc(void* payload, std::size_t size, const char*, int) {
  if (payload != nullptr && size == 0) {
    Release(payload);
    return nullptr;
  }
  void* replacement = Allocate(size, true);
  if (payload != nullptr && replacement != nullptr) {
    std::memcpy(replacement, payload, std::min(size, (static_cast<Header*>(payload) - 1)->size));
    Release(payload);
  }
  return replacement;
}

// Before anything else in the process can ask OpenSSL for memory.
__attribute__((constructor(101))) void InstallOpenSslHooks() {
  g_hooksInstalled = CRYPTO_set_mem_functions(&OpenSslMalloc, &OpenSslRealloc, &OpenSslFree) == 1;
}

}  // namespace

bool HooksInstalled() { return g_hooksInstalled; }

void Begin() {
  const std::lock_guard locked(g_lock);
  while (g_graves != nullptr) {
    Header* next = g_graves->next;
    std::free(g_graves);
    g_graves = next;
  }
  g_watching = true;
}

void End() {
  const std::lock_guard locked(g_lock);
  g_watching = false;
  for (Header* header = g_live; header != nullptr; header = header->next) {
    if (header->watched) {
      Bury(header);
      header->watched = false;
    }
  }
}

void RefuseAllocationsFrom(std::size_t size) { g_refusedFrom = size; }

std::size_t CopiesOf(std::span<const std::uint8_t> secret, std::size_t window, bool countOpenSsl) {
  std::size_t copies = 0;
  for (Header* grave = g_graves; grave != nullptr; grave = grave->next) {
    const std::uint8_t* begin = Payload(grave);
    for (std::size_t start = 0; start + window <= secret.size() && (countOpenSsl || !grave->fromOpenSsl); ++start) {
      const auto run = secret.subspan(start, window);
      if (std::search(begin, begin + grave->size, run.begin(), run.end()) != begin + grave->size) {
        ++copies;
        break;
      }
    }
  }
  return copies;
}

}  // namespace heapwatch

// The global allocation functions of the test binary; the library's secrets are never over-aligned.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  const std::size_t refusedFrom = heapwatch::g_refusedFrom;
  return refusedFrom != 0 && size >= refusedFrom ? nullptr : heapwatch::Allocate(size == 0 ? 1 : size, false);
}
void* operator new(std::size_t size) {
  void* payload = operator new(size, std::nothrow);
  if (payload == nullptr) {
    throw std::bad_alloc();
  }
  return payload;
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return operator new(size, std::nothrow); }
void operator delete(void* payload) noexcept { heapwatch::Release(payload); }
void operator delete[](void* payload) noexcept { heapwatch::Release(payload); }
void operator delete(void* payload, std::size_t) noexcept { heapwatch::Release(payload); }
void operator delete[](void* payload, std::size_t) noexcept { heapwatch::Release(payload); }
void operator delete(void* payload, const std::nothrow_t&) noexcept { heapwatch::Release(payload); }
void operator delete[](void* payload, const std::nothrow_t&) noexcept { heapwatch::Release(payload); }
