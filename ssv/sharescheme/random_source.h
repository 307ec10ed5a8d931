#pragma once

#include <cstddef>
#include <cstdint>

namespace QVCryptoService::sharescheme {

// RandomSource fills `size` bytes at `out` and returns false when it cannot. Share creation
// takes one so that tests can replay a known stream; the library passes the system generator.
using RandomSource = bool (*)(std::uint8_t* out, std::size_t size);

}  // namespace QVCryptoService::sharescheme
