#pragma once

// OpenSSL's one-shot cipher calls, HMAC keys, PBKDF2 and memory BIOs count bytes in a signed int.
// Every size the library hands to such a call is narrowed here, after a check, so that a longer
// input is refused instead of being cut to its low bits or turned negative.

#include <cstddef>
#include <cstdint>
#include <optional>

namespace QVCryptoService {

// Output room given to a one-shot cipher call beyond its input: two blocks, more than its padding
// can add.
inline constexpr std::size_t kCipherSlack = 32;

// NarrowToOpenSslInt returns `value` as the int an OpenSSL call takes when `value` plus `room`
// (what the call adds to it, such as a cipher's padding) is at most INT_MAX; nothing otherwise.
std::optional<int> NarrowToOpenSslInt(std::uint64_t value, std::uint64_t room = 0) noexcept;

// A test seam: SetOpenSslIntLimitForTesting lowers the bound from INT_MAX to `limit` (INT_MAX or
// more restores it), so that every caller's refusal can be seen without gigabytes of input.
// Returns the bound in force before.
std::uint64_t SetOpenSslIntLimitForTesting(std::uint64_t limit) noexcept;

}  // namespace QVCryptoService
