#include "tests/hardening/heap_watch.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

namespace heapwatch {
namespace {

// Every block carries this header in front of it; live blocks form a list so that the ones
// allocated during a watch can be searched when it closes.
struct alignas(16) Header {
  std::size_t size;
  Header* previous;
  Header* next;
  bool watched;
  bool fromOpenSsl;
};

// A block's copy, allocated with malloc so that keeping it does not recurse; the bytes follow
// the header.
struct alignas(16) Grave {
  Grave* next;
  std::size_t size;
  bool stillLive;
  bool fromOpenSsl;
};

std::uint8_t* BytesOf(Grave* grave) { return reinterpret_cast<std::uint8_t*>(grave + 1); }
const std::uint8_t* BytesOf(const Grave* grave) { return reinterpret_cast<const std::uint8_t*>(grave + 1); }

std::atomic_flag g_lock = ATOMIC_FLAG_INIT;
Header* g_live = nullptr;
Grave* g_graves = nullptr;
bool g_watching = false;
bool g_hooksInstalled = false;
std::atomic<std::size_t> g_refusedFrom{0};

class Locked {
 public:
  Locked() {
    while (g_lock.test_and_set(std::memory_order_acquire)) {
    }
  }
  ~Locked() { g_lock.clear(std::memory_order_release); }
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;
};

std::uint8_t* Payload(Header* header) { return reinterpret_cast<std::uint8_t*>(header + 1); }

void Bury(const std::uint8_t* bytes, std::size_t size, bool stillLive, bool fromOpenSsl) {
  auto* grave = static_cast<Grave*>(std::malloc(sizeof(Grave) + size));
  if (grave == nullptr) {
    std::abort();
  }
  grave->size = size;
  grave->stillLive = stillLive;
  grave->fromOpenSsl = fromOpenSsl;
  std::memcpy(BytesOf(grave), bytes, size);
  grave->next = g_graves;
  g_graves = grave;
}

void DropGraves() {
  while (g_graves != nullptr) {
    Grave* next = g_graves->next;
    std::free(g_graves);
    g_graves = next;
  }
}

void* Allocate(std::size_t size, bool fromOpenSsl) {
  auto* header = static_cast<Header*>(std::malloc(sizeof(Header) + size));
  if (header == nullptr) {
    return nullptr;
  }
  const Locked locked;
  header->size = size;
  header->watched = g_watching;
  header->fromOpenSsl = fromOpenSsl;
  header->previous = nullptr;
  header->next = g_live;
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
    const Locked locked;
    if (g_watching) {
      Bury(Payload(header), header->size, false, header->fromOpenSsl);
    }
    if (header->previous != nullptr) {
      header->previous->next = header->next;
    } else {
      g_live = header->next;
    }
    if (header->next != nullptr) {
      header->next->previous = header->previous;
    }
  }
  // Wiped, so that what one check leaves behind cannot show up in the next.
  std::memset(Payload(header), 0, header->size);
  std::free(header);
}

void* Reallocate(void* payload, std::size_t size) {
  if (payload == nullptr) {
    return Allocate(size, true);
  }
  if (size == 0) {
    Release(payload);
    return nullptr;
  }
  void* replacement = Allocate(size, true);
  if (replacement == nullptr) {
    return nullptr;
  }
  const Header* header = static_cast<Header*>(payload) - 1;
  std::memcpy(replacement, payload, std::min(size, header->size));
  Release(payload);
  return replacement;
}

void* OpenSslMalloc(std::size_t size, const char*, int) { return Allocate(size, true); }
void* OpenSslRealloc(void* payload, std::size_t size, const char*, int) { return Reallocate(payload, size); }
void OpenSslFree(void* payload, const char*, int) { Release(payload); }

// Before anything else in the process can ask OpenSSL for memory.
__attribute__((constructor(101))) void InstallOpenSslHooks() {
  g_hooksInstalled = CRYPTO_set_mem_functions(&OpenSslMalloc, &OpenSslRealloc, &OpenSslFree) == 1;
}

}  // namespace

bool HooksInstalled() { return g_hooksInstalled; }

void Begin() {
  const Locked locked;
  DropGraves();
  g_watching = true;
}

void RefuseAllocationsFrom(std::size_t size) { g_refusedFrom = size; }

void End() {
  const Locked locked;
  g_watching = false;
  for (Header* header = g_live; header != nullptr; header = header->next) {
    if (header->watched) {
      Bury(Payload(header), header->size, true, header->fromOpenSsl);
      header->watched = false;
    }
  }
}

std::vector<Finding> Search(std::span<const std::uint8_t> secret, std::size_t window) {
  std::vector<Finding> findings;
  window = std::min(window, secret.size());
  if (window == 0) {
    return findings;
  }
  // Without the lock: the watch is closed, so no grave comes or goes, and the findings
  // themselves are allocated through the hooks.
  for (const Grave* grave = g_graves; grave != nullptr; grave = grave->next) {
    for (std::size_t start = 0; start + window <= secret.size(); ++start) {
      const std::uint8_t* begin = BytesOf(grave);
      const std::uint8_t* end = begin + grave->size;
      const std::uint8_t* hit = std::search(begin, end, secret.begin() + static_cast<std::ptrdiff_t>(start),
                                            secret.begin() + static_cast<std::ptrdiff_t>(start + window));
      if (hit != end) {
        findings.push_back({grave->stillLive, grave->fromOpenSsl, grave->size, static_cast<std::size_t>(hit - begin)});
        break;
      }
    }
  }
  return findings;
}

}  // namespace heapwatch

// The global allocation functions of the test binary. Aligned forms keep their own path: the
// library never asks for over-aligned blocks holding secrets.
void* operator new(std::size_t size) {
  const std::size_t refusedFrom = heapwatch::g_refusedFrom;
  void* payload = refusedFrom != 0 && size >= refusedFrom ? nullptr : heapwatch::Allocate(size == 0 ? 1 : size, false);
  if (payload == nullptr) {
    throw std::bad_alloc();
  }
  return payload;
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return heapwatch::Allocate(size == 0 ? 1 : size, false);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return heapwatch::Allocate(size == 0 ? 1 : size, false);
}
void operator delete(void* payload) noexcept { heapwatch::Release(payload); }
void operator delete[](void* payload) noexcept { heapwatch::Release(payload); }
void operator delete(void* payload, std::size_t) noexcept { heapwatch::Release(payload); }
void operator delete[](void* payload, std::size_t) noexcept { heapwatch::Release(payload); }
void operator delete(void* payload, const std::nothrow_t&) noexcept { heapwatch::Release(payload); }
void operator delete[](void* payload, const std::nothrow_t&) noexcept { heapwatch::Release(payload); }
