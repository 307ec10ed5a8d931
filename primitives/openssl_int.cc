#include "primitives/openssl_int.h"

#include <algorithm>
#include <atomic>
#include <climits>

namespace QVCryptoService {
namespace {
constexpr auto kIntLimit = static_cast<std::uint64_t>(INT_MAX);
std::atomic<std::uint64_t> g_limit{kIntLimit};
}  // namespace

std::optional<int> NarrowToOpenSslInt(std::uint64_t value, std::uint64_t room) noexcept {
  const std::uint64_t limit = g_limit.load(std::memory_order_relaxed);
  if (value > limit || room > limit - value) {
    return std::nullopt;
  }
  return static_cast<int>(value);
}

std::uint64_t SetOpenSslIntLimitForTesting(std::uint64_t limit) noexcept {
  return g_limit.exchange(std::min(limit, kIntLimit), std::memory_order_relaxed);
}

}  // namespace QVCryptoService
