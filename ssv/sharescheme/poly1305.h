#pragma once

// Poly1305, the one-time authenticator of the secret box: a 16-byte tag of a message under a
// 32-byte key that must never authenticate two different messages.

#include <cstddef>
#include <cstdint>
#include <span>

namespace QVCryptoService::sharescheme {

inline constexpr std::size_t kPoly1305KeySize = 32;
inline constexpr std::size_t kPoly1305TagSize = 16;

// Poly1305 writes the tag of `size` bytes at `message`. Its running time depends on `size`
// only, never on the key or the message. It cannot fail.
void Poly1305(std::span<std::uint8_t, kPoly1305TagSize> tag, const std::uint8_t* message, std::size_t size,
              std::span<const std::uint8_t, kPoly1305KeySize> key);

// Poly1305Verify returns true when `tag` is the tag of the message; the comparison takes the
// same time wherever the tags differ.
bool Poly1305Verify(std::span<const std::uint8_t, kPoly1305TagSize> tag, const std::uint8_t* message, std::size_t size,
                    std::span<const std::uint8_t, kPoly1305KeySize> key);

}  // namespace QVCryptoService::sharescheme
