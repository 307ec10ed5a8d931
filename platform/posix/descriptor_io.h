#pragma once

#include <cstddef>
#include <cstdint>

namespace QVCryptoService::platform {

// WriteAllToDescriptor writes every byte to `descriptor`, resuming after short writes and
// interrupted calls. Returns 0 or the errno value of the failing write.
int WriteAllToDescriptor(int descriptor, const std::uint8_t* data, std::size_t size) noexcept;

}  // namespace QVCryptoService::platform
