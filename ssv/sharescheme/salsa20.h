#pragma once

// The Salsa20 family as the secret box uses it: the HSalsa20 key derivation and the Salsa20
// stream with a 64-bit nonce and a 64-bit block counter, both with a 32-byte key and the
// "expand 32-byte k" constant.

#include <cstddef>
#include <cstdint>
#include <span>

namespace QVCryptoService::sharescheme {

inline constexpr std::size_t kSalsaKeySize = 32;
inline constexpr std::size_t kSalsaBlockSize = 64;
inline constexpr std::size_t kHSalsaInputSize = 16;
inline constexpr std::size_t kSalsaNonceSize = 8;

// HSalsa20 derives a 32-byte subkey from `key` and a 16-byte input (the first 16 bytes of an
// XSalsa20 nonce). It cannot fail.
void HSalsa20(std::span<std::uint8_t, kSalsaKeySize> subkey, std::span<const std::uint8_t, kHSalsaInputSize> input,
              std::span<const std::uint8_t, kSalsaKeySize> key);

// Salsa20Block writes key-stream block number `counter`.
void Salsa20Block(std::span<std::uint8_t, kSalsaBlockSize> block, std::span<const std::uint8_t, kSalsaKeySize> key,
                  std::span<const std::uint8_t, kSalsaNonceSize> nonce, std::uint64_t counter);

// Salsa20Xor XORs `size` bytes of `in` with the key stream that starts at block `counter` and
// writes them to `out`; `in` and `out` may be the same buffer.
void Salsa20Xor(std::uint8_t* out, const std::uint8_t* in, std::size_t size,
                std::span<const std::uint8_t, kSalsaKeySize> key, std::span<const std::uint8_t, kSalsaNonceSize> nonce,
                std::uint64_t counter);

}  // namespace QVCryptoService::sharescheme
