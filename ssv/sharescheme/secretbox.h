#pragma once

// The secret box: XSalsa20 encryption with a Poly1305 authenticator, in the classic padded
// layout. The plain text starts with 32 bytes of room (ignored on sealing, zero after opening);
// the box starts with 16 zero bytes, then the 16-byte tag, then the cipher text.

#include <cstddef>
#include <cstdint>
#include <span>

namespace QVCryptoService::sharescheme {

inline constexpr std::size_t kSecretboxKeySize = 32;
inline constexpr std::size_t kSecretboxNonceSize = 24;
// Leading bytes of the padded plain text that carry no message.
inline constexpr std::size_t kSecretboxPlainPadding = 32;
// Leading zero bytes of the box; the tag follows them.
inline constexpr std::size_t kSecretboxBoxPadding = 16;

// SecretboxSeal seals the padded plain text into `box` (the same size; it may be the same
// buffer). Returns false, and writes nothing, when the size is below the 32 bytes of padding.
bool SecretboxSeal(std::span<std::uint8_t> box, std::span<const std::uint8_t> plain,
                   std::span<const std::uint8_t, kSecretboxNonceSize> nonce,
                   std::span<const std::uint8_t, kSecretboxKeySize> key);

// SecretboxOpen checks the box's tag and only then decrypts it into `plain` (the same size; it
// may be the same buffer). Returns false, and writes nothing, when the tag does not match or
// the box is shorter than 32 bytes.
bool SecretboxOpen(std::span<std::uint8_t> plain, std::span<const std::uint8_t> box,
                   std::span<const std::uint8_t, kSecretboxNonceSize> nonce,
                   std::span<const std::uint8_t, kSecretboxKeySize> key);

}  // namespace QVCryptoService::sharescheme
