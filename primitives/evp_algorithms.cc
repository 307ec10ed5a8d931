#include "primitives/evp_algorithms.h"

#include <openssl/objects.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>

namespace QVCryptoService {
namespace {

// The implementation fetched as OpenSSL fetches it when a context is set up with the built-in
// description `known` (by its short name, default properties). When that fetch fails, `known`
// itself is kept: setting a context up with it then fails exactly as it always has.
const EVP_CIPHER* Fetched(const EVP_CIPHER* known) noexcept {
  const int nid = EVP_CIPHER_get_nid(known);
  const EVP_CIPHER* fetched = EVP_CIPHER_fetch(nullptr, nid == NID_undef ? "NULL" : OBJ_nid2sn(nid), "");
  return fetched != nullptr ? fetched : known;
}

const EVP_MD* Fetched(const EVP_MD* known) noexcept {
  const EVP_MD* fetched = EVP_MD_fetch(nullptr, OBJ_nid2sn(EVP_MD_get_type(known)), "");
  return fetched != nullptr ? fetched : known;
}

// The names a process has used, each with the implementation fetched for it. Readers scan the
// published entries without a lock; a new name is fetched and added under the lock and
// published by the count. Only names that resolved are kept, and only so many (callers may spell
// one name many ways): past that, a name is looked up on every call as OpenSSL alone would.
template <typename Algorithm>
class ResolvedNames {
 public:
  const Algorithm* find(const char* name) const noexcept {
    const std::size_t count = count_.load(std::memory_order_acquire);
    for (std::size_t i = 0; i < count; ++i) {
      if (std::strcmp(entries_[i].name.data(), name) == 0) {
        return entries_[i].algorithm;
      }
    }
    return nullptr;
  }

  // keep returns what `name` (which resolved to `known`) stands for from now on.
  const Algorithm* keep(const char* name, const Algorithm* known) noexcept {
    const std::size_t length = std::strlen(name);
    const std::lock_guard lock(mutex_);
    if (const Algorithm* kept = find(name)) {
      return kept;
    }
    const std::size_t count = count_.load(std::memory_order_relaxed);
    if (count == kCapacity || length >= kLongestName) {
      return known;
    }
    std::memcpy(entries_[count].name.data(), name, length + 1);
    entries_[count].algorithm = Fetched(known);
    count_.store(count + 1, std::memory_order_release);
    return entries_[count].algorithm;
  }

 private:
  static constexpr std::size_t kCapacity = 32;
  static constexpr std::size_t kLongestName = 64;
  struct Entry {
    std::array<char, kLongestName> name{};
    const Algorithm* algorithm = nullptr;
  };
  std::array<Entry, kCapacity> entries_{};
  std::atomic<std::size_t> count_{0};
  std::mutex mutex_;
};

// Never destroyed: the fetched algorithms are kept for the life of the process, and calls made
// while static objects are destroyed may still need them.
// Null only when the process had no memory for it on first use.
template <typename Algorithm>
ResolvedNames<Algorithm>* Resolved() noexcept {
  static ResolvedNames<Algorithm>* const names = new (std::nothrow) ResolvedNames<Algorithm>();
  return names;
}

template <typename Algorithm, typename LookUp>
const Algorithm* Find(const char* name, LookUp lookUp) noexcept {
  if (name == nullptr) {
    return nullptr;
  }
  ResolvedNames<Algorithm>* resolved = Resolved<Algorithm>();
  if (const Algorithm* algorithm = resolved != nullptr ? resolved->find(name) : nullptr) {
    return algorithm;
  }
  const Algorithm* known = lookUp(name);
  return known == nullptr || resolved == nullptr ? known : resolved->keep(name, known);
}

}  // namespace

const EVP_CIPHER* FindCipher(const char* name) noexcept { return Find<EVP_CIPHER>(name, &EVP_get_cipherbyname); }

const EVP_MD* FindDigest(const char* name) noexcept { return Find<EVP_MD>(name, &EVP_get_digestbyname); }

}  // namespace QVCryptoService
