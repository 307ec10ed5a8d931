#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace QVCryptoService {

inline constexpr std::size_t kComponentIdSize = 32;
inline constexpr std::size_t kComponentIdRandomBytes = 16;

// FormatComponentId turns 16 random bytes into a component id: a version-4, variant-1 UUID in
// 32 lowercase hex digits without dashes. It cannot fail.
std::string FormatComponentId(std::span<const std::uint8_t, kComponentIdRandomBytes> randomBytes);

// NewComponentId makes a component id from 16 bytes of OpenSSL's generator. Returns false, and
// leaves `id` untouched, when the generator fails.
bool NewComponentId(std::string& id);

}  // namespace QVCryptoService
