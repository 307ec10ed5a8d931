#pragma once

#include <cstddef>
#include <cstdint>

namespace QVCryptoService::platform {

// FillSystemRandom fills `size` bytes at `out` from the operating system's random generator
// (CryptoAPI on Windows, getrandom elsewhere). Returns false when the generator fails; the
// bytes are then not random and must not be used.
bool FillSystemRandom(std::uint8_t* out, std::size_t size) noexcept;

}  // namespace QVCryptoService::platform
